// Random steps with counted pointers, against a model that counts anew after each; see
// PointerModel.h.

#include "framework/zel/Census.h"
#include "framework/zel/Object.h"
#include "verify/PointerModel.h"
#include "verify/Verify.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Verify::found;
using Verify::grouped;
using Verify::PointerModel;
using Verify::Run;
using Verify::U64;
using Zel::Ptr;

constexpr int none = PointerModel::none;

class Pointers;

/// An object with pointers to others.
class Node : public Zel::Object<Node, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;

    Node(Pointers& pointers, int number, int lastWill)
        : pointers_(pointers)
        , number_(number)
        , lastWill_(lastWill) {}
    ~Node() override;
    void zeroReferencesIs(bool) override { ++told_; }

    int number() const { return number_; }

    std::array<Zel::Ptr<Node>, PointerModel::slotCount> slots;

  private:
    Pointers& pointers_;
    const int number_;
    const int lastWill_;
    unsigned told_ = 0; // that the last reference has gone
};
constinit Zel::TypeNode const Node::_zelType{"Verify::Node", {}};
[[maybe_unused]] const bool nodeRegistered = Zel::typeNodeIs(Node::_zelType);

class Derived final : public Zel::Object<Derived, Node> {
  public:
    static Zel::TypeNode const _zelType;
    using Zel::Object<Derived, Node>::Object;
};
constinit Zel::TypeNode const Derived::_zelType{"Verify::Derived", {}};
[[maybe_unused]] const bool derivedRegistered = Zel::typeNodeIs(Derived::_zelType);

/// The pointers, and the objects at which they point.
class Pointers {
  public:
    explicit Pointers(Run& run)
        : run_(run) {}
    ~Pointers() { end(); }

    /// One step. False, and nothing done, where there is nothing to do it with.
    bool step();
    /// Ends the program where the pointers are not as the model has them.
    void compare();
    /// The same, for all objects and by the census.
    void compareWithCensus() const;
    /// Lets everything go that is held, and breaks the cycles.
    void end();

    U64 made() const { return made_; }
    U64 died() const { return died_; }
    unsigned lost() const { return model_.lost(); }

  private:
    friend class Node;

    /// Where a pointer stands: a variable, or a slot of an object that lives.
    struct Place {
        int object; // none for a variable
        std::size_t index;
    };

    std::size_t below(std::size_t limit) { return run_.below(limit); }

    Place anyPlace() {
        if (below(2) == 0) {
            const int object = anyObject();
            if (object != none)
                return {object, below(PointerModel::slotCount)};
        }
        return {none, below(variables_.size())};
    }
    int anyObject() {
        const auto from = below(PointerModel::objectCount);
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            const auto at = (from + i) % objects_.size();
            if (objects_[at])
                return static_cast<int>(at);
        }
        return none;
    }
    int freeNumber() {
        const auto place = std::find(objects_.begin(), objects_.end(), nullptr);
        return place == objects_.end() ? none : static_cast<int>(place - objects_.begin());
    }

    Ptr<Node>& at(Place place) {
        return place.object == none ? variables_[place.index]
                                    : raw(place.object)->slots[place.index];
    }
    int& modelAt(Place place) {
        return place.object == none ? model_.variables[place.index]
                                    : modelOf(place.object).slots[place.index];
    }
    Node* raw(int object) const { return objects_[static_cast<std::size_t>(object)]; }
    PointerModel::Object& modelOf(int object) {
        return model_.objects[static_cast<std::size_t>(object)];
    }

    template <class T> T* make(int number) {
        const int lastWill =
            below(4) == 0 ? static_cast<int>(below(PointerModel::variableCount)) : none;
        T* const object = new T(*this, number, lastWill);
        objects_[static_cast<std::size_t>(number)] = object;
        ++made_;
        modelOf(number) = {true, std::is_same_v<T, Derived>, lastWill, false, false, {none, none}};
        return object;
    }

    void destroyed(Node& node, unsigned told, int lastWill);
    bool pointsAt(Node const* node) const;

    void faultIs(std::string text) {
        if (fault_.empty())
            fault_ = std::move(text);
    }

    Run& run_;
    PointerModel model_;
    std::string fault_; // found where nothing can be thrown
    U64 made_ = 0;
    U64 died_ = 0;

    std::array<Node*, PointerModel::objectCount> objects_{}; // null where none lives
    std::array<Ptr<Node>, PointerModel::variableCount> variables_;
    std::array<Ptr<Node const>, std::tuple_size_v<decltype(PointerModel::constants)>> constants_;
    std::array<Ptr<Derived>, std::tuple_size_v<decltype(PointerModel::deriveds)>> deriveds_;
    std::array<std::vector<Ptr<Node>>, 2> containers_;
};

Node::~Node() { pointers_.destroyed(*this, told_, lastWill_); }

void Pointers::destroyed(Node& node, unsigned told, int lastWill) {
    const std::string name = "object " + std::to_string(node.number());
    ++died_;
    if (std::exchange(objects_[static_cast<std::size_t>(node.number())], nullptr) != &node)
        faultIs(name + " was destroyed twice");
    if (told != 1)
        faultIs(name + " was told of its last reference " + std::to_string(told) + " times");
    if (pointsAt(&node))
        faultIs("a pointer still points at " + name + ", which is being destroyed");
    {
        const Ptr<Node> temporary(&node);
        const Ptr<Node const> another = temporary;
    }
    if (lastWill != none)
        variables_[static_cast<std::size_t>(lastWill)] = nullptr;
}

bool Pointers::pointsAt(Node const* node) const {
    const auto amid = [node](auto const& pointers) {
        return std::any_of(pointers.begin(), pointers.end(),
                           [node](auto const& pointer) { return pointer.ptr() == node; });
    };
    return amid(variables_) || amid(constants_) || amid(deriveds_) || amid(containers_[0]) ||
           amid(containers_[1]) || std::any_of(objects_.begin(), objects_.end(), [&](Node* other) {
               return other && amid(other->slots);
           });
}

bool Pointers::step() {
    constexpr std::size_t mostInContainer = 12;
    constexpr std::size_t mostByHand = 8;

    const Place place = anyPlace();
    const Place other = below(8) == 0 ? place : anyPlace();
    const std::size_t constant = below(constants_.size());
    const std::size_t derived = below(deriveds_.size());
    const std::size_t which = below(containers_.size());
    auto& container = containers_[which];
    auto& modelContainer = model_.containers[which];
    const std::size_t element = container.empty() ? 0 : below(container.size());
    // Objects that die may take places along: what is in them is read before.
    const int held = modelAt(place);
    const int otherHeld = modelAt(other);

    switch (below(28)) {
    case 0:
    case 1: { // a new object
        const int number = freeNumber();
        if (number == none)
            return false;
        Node* const node = make<Node>(number);
        modelAt(place) = number;
        at(place) = Ptr(node);
        return true;
    }
    case 2: { // a new object of the derived class
        const int number = freeNumber();
        if (number == none)
            return false;
        Derived* const node = make<Derived>(number);
        model_.deriveds[derived] = number;
        deriveds_[derived] = Ptr(node);
        return true;
    }
    case 3:
    case 4:
    case 5: // copied; also onto itself
        if (held == none && otherHeld == none)
            return false;
        modelAt(place) = otherHeld;
        at(place) = at(other);
        return true;
    case 6:
    case 7: { // moved; also onto itself
        if (otherHeld == none)
            return false;
        modelAt(other) = none;
        modelAt(place) = otherHeld;
        at(place) = std::move(at(other));
        return true;
    }
    case 8: // swapped; also with itself
        if (held == none && otherHeld == none)
            return false;
        std::swap(modelAt(place), modelAt(other));
        std::swap(at(place), at(other));
        return true;
    case 9:
    case 10: // set to null
        if (held == none)
            return false;
        modelAt(place) = none;
        at(place) = nullptr;
        return true;
    case 11: { // a raw pointer taken up, be it one's own
        const int object = below(4) == 0 ? held : anyObject();
        if (object == none)
            return false;
        modelAt(place) = object;
        at(place).ptrAssign(raw(object));
        return true;
    }
    case 12: { // another way to do that
        const int object = anyObject();
        if (object == none)
            return false;
        modelAt(place) = object;
        at(place) = Ptr(raw(object));
        return true;
    }
    case 13: // to const
        if (held == none && model_.constants[constant] == none)
            return false;
        model_.constants[constant] = held;
        constants_[constant] = at(place);
        return true;
    case 14: { // moved to const
        if (held == none)
            return false;
        model_.constants[constant] = std::exchange(modelAt(place), none);
        constants_[constant] = std::move(at(place));
        return true;
    }
    case 15: { // from the derived class to const
        const int object = model_.deriveds[derived];
        if (object == none)
            return false;
        model_.constants[constant] = object;
        constants_[constant] = deriveds_[derived];
        return true;
    }
    case 16: { // to the base
        const int object = model_.deriveds[derived];
        if (object == none)
            return false;
        modelAt(place) = object;
        if (below(2) == 0) {
            at(place) = deriveds_[derived];
        } else {
            model_.deriveds[derived] = none;
            at(place) = std::move(deriveds_[derived]);
        }
        return true;
    }
    case 17: { // to the derived class, where it is one
        const int former = model_.deriveds[derived];
        const int object = held != none && modelOf(held).derived ? held : none;
        if (former == none && object == none)
            return false;
        model_.deriveds[derived] = object;
        deriveds_[derived] = ptrCast<Derived>(at(place));
        return true;
    }
    case 18: // copied to the end of a container
        if (held == none || container.size() == mostInContainer)
            return false;
        modelContainer.push_back(held);
        container.push_back(at(place));
        return true;
    case 19: // moved to the front of a container
        if (held == none || container.size() == mostInContainer)
            return false;
        modelContainer.insert(modelContainer.begin(), std::exchange(modelAt(place), none));
        container.insert(container.begin(), std::move(at(place)));
        return true;
    case 20: // out of a container
        if (container.empty())
            return false;
        modelContainer.erase(modelContainer.begin() + static_cast<std::ptrdiff_t>(element));
        container.erase(container.begin() + static_cast<std::ptrdiff_t>(element));
        return true;
    case 21: // from a container
        if (container.empty())
            return false;
        modelAt(place) = modelContainer[element];
        at(place) = container[element];
        return true;
    case 22: { // within a container, or the whole of it
        if (container.empty())
            return false;
        if (below(8) != 0) {
            if (element == 0)
                return false;
            std::rotate(modelContainer.begin(),
                        modelContainer.begin() + static_cast<std::ptrdiff_t>(element),
                        modelContainer.end());
            std::rotate(container.begin(), container.begin() + static_cast<std::ptrdiff_t>(element),
                        container.end());
            return true;
        }
        model_.containers[1 - which] = modelContainer;
        auto copy = container;
        containers_[1 - which].swap(copy);
        if (below(2) == 0) {
            modelContainer.clear();
            std::vector<Ptr<Node>>().swap(container);
        }
        return true;
    }
    case 23: { // a reference taken by hand, or handed over
        if (model_.byHand.size() == mostByHand)
            return false;
        if (below(2) == 0) {
            const int object = anyObject();
            if (object == none)
                return false;
            model_.byHand.push_back(object);
            raw(object)->referenceInc();
        } else {
            if (held == none)
                return false;
            model_.byHand.push_back(std::exchange(modelAt(place), none));
            Verify::expect(at(place).release() == raw(held), "another object was released");
        }
        return true;
    }
    case 24: { // and given back, or taken up by a pointer
        if (model_.byHand.empty())
            return false;
        const int object = model_.byHand.back();
        model_.byHand.pop_back();
        Node* const node = raw(object);
        if (below(2) == 0) {
            modelAt(place) = object;
            at(place) = Ptr(node);
        }
        node->referenceDec();
        return true;
    }
    case 25: { // a pointer that is passed on by value
        if (held == none)
            return false;
        const Zel::U32 before = at(place)->references();
        [before](Ptr<Node> passed) {
            const Ptr<Node const> kept = passed;
            Verify::expect(kept->references() == before + 2, "a temporary pointer did not count");
        }(at(place));
        return true;
    }
    case 26: { // the flags beside the count
        const int object = anyObject();
        if (object == none)
            return false;
        PointerModel::Object& model = modelOf(object);
        if (below(2) == 0)
            raw(object)->hasNotificationActiveIs(model.active = !model.active);
        else
            raw(object)->zelMarkedForDeletionIs(model.marked = !model.marked);
        return true;
    }
    default: // compared
        if (held == none && otherHeld == none)
            return false;
        Verify::expect((at(place) == at(other)) == (held == otherHeld), "equality is wrong");
        Verify::expect((at(place) == nullptr) == (held == none), "equality with null is wrong");
        return true;
    }
}

void Pointers::compare() {
    const auto counts = model_.settled();
    const auto named = [](std::size_t number) { return "object " + std::to_string(number); };
    if (!fault_.empty())
        found(fault_);
    for (std::size_t i = 0; i < objects_.size(); ++i) {
        PointerModel::Object const& expected = model_.objects[i];
        Node const* const object = objects_[i];
        if ((object != nullptr) != expected.lives)
            found(named(i) +
                  (object ? " lives, though nothing points at it" : " is dead, but held"));
        if (!object)
            continue;
        if (object->references() != counts[i])
            found(named(i) + " counts " + std::to_string(object->references()) +
                  " references, not " + std::to_string(counts[i]));
        if (object->hasNotificationActive() != expected.active ||
            object->zelMarkedForDeletion() != expected.marked)
            found("the flags of " + named(i) + " are wrong");
    }
    const auto same = [&](auto const& pointers, auto const& expected, const char* what) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            Node const* const object = expected[i] == none ? nullptr : raw(expected[i]);
            if (pointers[i].ptr() != object)
                found(std::string(what) + " " + std::to_string(i) + " points elsewhere");
        }
    };
    same(variables_, model_.variables, "variable");
    same(constants_, model_.constants, "pointer to const");
    same(deriveds_, model_.deriveds, "pointer to the derived class");
    for (std::size_t i = 0; i < containers_.size(); ++i) {
        Verify::expect(containers_[i].size() == model_.containers[i].size(), "a container's size");
        same(containers_[i], model_.containers[i], "a container's pointer");
    }
    for (std::size_t i = 0; i < objects_.size(); ++i) {
        if (objects_[i])
            same(objects_[i]->slots, model_.objects[i].slots, "a slot");
    }
    if (Node::_zelType.allocations().liveCount() + Derived::_zelType.allocations().liveCount() !=
        model_.living())
        found("not all dead objects have been freed");
}

void Pointers::compareWithCensus() const {
    const auto isDerived = [](PointerModel::Object const& it) { return it.lives && it.derived; };
    const auto derived =
        static_cast<U64>(std::count_if(model_.objects.begin(), model_.objects.end(), isDerived));
    const Zel::Census census = Zel::census();
    Verify::expect(census.of("Verify::Derived").live == derived &&
                       census.of("Verify::Node").live == model_.living() - derived,
                   "the census is wrong");
}

void Pointers::end() {
    for (; !model_.byHand.empty(); model_.byHand.pop_back())
        raw(model_.byHand.back())->referenceDec();
    for (auto& container : containers_)
        std::vector<Ptr<Node>>().swap(container);
    for (auto& variable : variables_)
        variable = nullptr;
    for (auto& constant : constants_)
        constant = nullptr;
    for (auto& derived : deriveds_)
        derived = nullptr;
    for (std::size_t i = 0; i < objects_.size(); ++i) {
        for (std::size_t slot = 0; objects_[i] && slot < PointerModel::slotCount; ++slot)
            objects_[i]->slots[slot] = nullptr;
    }
    model_ = {};
}

std::string work(Run& run) {
    const U64 wanted = run.times(10'000'000);
    U64 done = 0;
    U64 lost = 0;
    U64 censuses = 0;
    auto owned = std::make_unique<Pointers>(run);
    Pointers& pointers = *owned;
    // First with references counted by plain operations, then by atomic ones.
    for (const bool threadSafe : {false, true}) {
        Zel::VFPtrInterface::threadSafePointers_ = threadSafe;
        for (const U64 until = threadSafe ? wanted : wanted / 2; done < until;) {
            try {
                if (!pointers.step())
                    continue;
                ++done;
                pointers.compare();
                if (done % 256 == 0) {
                    pointers.compareWithCensus();
                    ++censuses;
                    lost += pointers.lost() != 0;
                }
            } catch (Verify::Found const& fault) {
                static_cast<void>(owned.release()); // no more steps with what is wrong
                found("step " + std::to_string(done) + ": " + fault.what());
            }
        }
    }
    pointers.end();
    pointers.compare();
    pointers.compareWithCensus();
    Zel::VFPtrInterface::threadSafePointers_ = false;
    Verify::expect(pointers.made() == pointers.died(), "not every object died once");
    Verify::expect(lost != 0, "there was never a lost cycle");
    std::cout << "note: " << grouped(pointers.made()) << " objects died, each once; "
              << grouped(lost) << " of " << grouped(censuses)
              << " censuses had cycles that nothing else held\n";
    return grouped(done) + " random steps";
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, work); }
