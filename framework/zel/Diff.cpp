#include "framework/zel/Diff.h"

#include "framework/zel/Exception.h"
#include "framework/zel/TreeWalk.h"

namespace Zel {
namespace {

std::optional<std::string> textOf(Value const* value) {
    return value ? std::optional(value->text()) : std::nullopt;
}

Value valueOf(PtrInterface const* object) { return Value(Ptr(object)); }

} // namespace

/// One part of the path, for as long as it lives.
class TreeDiff::Step {
  public:
    Step(TreeDiff& diff, std::string_view name, Value const* key = nullptr)
        : path_(diff.path_)
        , size_(path_.size()) {
        std::string part = size_ == 0 ? "" : ".";
        part += name;
        if (key)
            part.append("[").append(key->text()).append("]");
        path_ += part;
    }
    Step(Step const&) = delete;
    Step& operator=(Step const&) = delete;
    ~Step() { path_.resize(size_); }

  private:
    std::string& path_;
    std::size_t size_;
};

void TreeDiff::objects(PtrInterface const& left, PtrInterface const& right, Keys keys) {
    TypeNode const& type = treeType(left);
    if (&type != &treeType(right))
        throwRangeException(
            String("a ")
                .merge(type.name(), " cannot be compared with a ", treeType(right).name())
                .c_str());
    for (AttributeInfo const& info : type.attributes()) {
        if (keys == withKeys || info.kind != AttributeKind::key)
            attribute(left, right, info);
    }
}

void TreeDiff::attribute(PtrInterface const& left, PtrInterface const& right,
                         AttributeInfo const& info) {
    if (hasElements(info)) {
        elements(&left, info.id, &right, info.id, info.name,
                 [this](Value const&, Element one, Element other) { element(one, other); });
        return;
    }
    const Step step(*this, info.name);
    const Value one = treeValue(left, info.id);
    const Value other = treeValue(right, info.id);
    if (!(one == other))
        found(&one, &other);
}

void TreeDiff::elements(PtrInterface const* left, AttributeId leftId, PtrInterface const* right,
                        AttributeId rightId, std::string_view name, Compare const& compare) {
    const auto ofLeft = left ? treeElements(*left, leftId) : std::vector<TreeElement>();
    const auto ofRight = right ? treeElements(*right, rightId) : std::vector<TreeElement>();
    auto one = ofLeft.begin();
    auto other = ofRight.begin();
    while (one != ofLeft.end() || other != ofRight.end()) {
        const bool onLeft =
            one != ofLeft.end() && (other == ofRight.end() || !(other->key < one->key));
        const bool onRight =
            other != ofRight.end() && (one == ofLeft.end() || !(one->key < other->key));
        Value const& key = onLeft ? one->key : other->key;
        const Step step(*this, name, &key);
        compare(key, onLeft ? &one->object : nullptr, onRight ? &other->object : nullptr);
        one += onLeft;
        other += onRight;
    }
}

void TreeDiff::at(std::string_view name, Value const& key, std::function<void()> const& there) {
    const Step step(*this, name, &key);
    there();
}

void TreeDiff::element(Element left, Element right) {
    if (left && right && left->object() && right->object()) {
        objects(*left->object(), *right->object());
    } else if (!left || !right) {
        Element const only = left ? left : right;
        if (only && !only->isZero())
            found(left, right);
    } else if (!(*left == *right)) {
        found(left, right);
    }
}

void TreeDiff::found(Element left, Element right) {
    if (left || right)
        differences_.push_back({path_, textOf(left), textOf(right)});
}

Differences diff(PtrInterface const* left, PtrInterface const* right) {
    TreeDiff comparison;
    const Value one = valueOf(left);
    const Value other = valueOf(right);
    if (left && right)
        comparison.objects(*left, *right);
    else
        comparison.found(left ? &one : nullptr, right ? &other : nullptr);
    return comparison.take();
}

std::string differencesText(Differences const& differences) {
    std::string text;
    for (Difference const& difference : differences)
        text += difference.path + ": " + difference.left.value_or("(none)") +
                " != " + difference.right.value_or("(none)") + "\n";
    return text;
}

} // namespace Zel
