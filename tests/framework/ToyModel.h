#pragma once

#include "framework/zel/Declare.h"
#include "framework/zel/HashTable.h"
#include "framework/zel/Name.h"
#include "framework/zel/Trace.h"
#include "tests/framework/NothingLeft.h"

#include <array>
#include <functional>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// A small state model for the tests of the framework: a record with items and groups of items. Its
/// attributes have values of many types, and identifiers with gaps.
///
/// Constructors and destructors are not inline, so that the templates below them are compiled once.
namespace Toy {

/// Key of an item.
class ItemId {
  public:
    constexpr ItemId() noexcept = default;
    constexpr ItemId(unsigned value) noexcept
        : value_(static_cast<Zel::U16>(value)) {}

    constexpr Zel::U16 value() const noexcept { return value_; }
    constexpr Zel::U32 hash() const noexcept { return value_; }
    friend bool operator==(ItemId, ItemId) noexcept = default;
    friend auto operator<=>(ItemId, ItemId) noexcept = default;

  private:
    Zel::U16 value_ = 0;
};

enum class Colour : Zel::U8 { none, red, green };

struct Digest {
    std::array<Zel::U8, 16> octets{};
    friend bool operator==(Digest const&, Digest const&) noexcept = default;
};

Zel::TraceStream& operator<<(Zel::TraceStream& stream, ItemId id);
/// "none", "red" or "green".
Zel::TraceStream& operator<<(Zel::TraceStream& stream, Colour colour);
/// The octets in decimal, with dots between them.
Zel::TraceStream& operator<<(Zel::TraceStream& stream, Digest const& digest);

class Item final : public Zel::Object<Item, Zel::Entity>, public Zel::RbTreeMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Item>;
    static Zel::TypeNode const _zelType;
    explicit Item(ItemId id) noexcept;
    ~Item() override;

    ZEL_KEY(258, ItemId, id)
    ZEL_SCALAR(259, unsigned, count)
    ZEL_SCALAR(260, double, ratio)
    ZEL_SCALAR(261, Zel::String, label)
    ZEL_SCALAR(262, bool, enabled)
    ZEL_SCALAR(263, Zel::U8, octet)
    ZEL_SCALAR(264, Zel::U16, port)
    ZEL_HANDLED_SCALAR(266, Zel::U64, total, handleTotal)
    ZEL_SCALAR(267, int, offset)
    ZEL_SCALAR(268, Zel::Name, tag)
    ZEL_SCALAR(269, Colour, colour)
    ZEL_SCALAR(272, Digest, digest)
    ZEL_SCALAR(273, float, weight)
    ZEL_SCALAR(289, double, age)
};

class Group final : public Zel::Object<Group, Zel::Entity>, public Zel::HashMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Group>;
    static Zel::TypeNode const _zelType;
    explicit Group(Zel::Name name) noexcept;
    ~Group() override;

    ZEL_KEY(258, Zel::Name, name)
    ZEL_SCALAR(260, unsigned, level)
    ZEL_ORDERED_COLLECTION(261, Item, ItemId, item)
};

class Record final : public Zel::Object<Record, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Record>;
    static Zel::TypeNode const _zelType;
    Record() noexcept;
    ~Record() override;

    ZEL_SCALAR(258, Zel::String, title)
    ZEL_SCALAR(259, unsigned, revision)
    ZEL_ORDERED_COLLECTION(261, Item, ItemId, item)
    ZEL_HASHED_COLLECTION(264, Group, Zel::Name, group)
    ZEL_SCALAR(265, bool, valid)
    ZEL_VALUE_MAP(266, ItemId, unsigned, tally)
    ZEL_HANDLED_SCALAR(268, Zel::U16, mode, handleTheMode)
};

std::string textOf(ItemId id);
std::string textOf(Zel::Name const& name);

/// One call of a reactor's onAttribute().
struct Notification {
    std::string reactor;
    Zel::AttributeId id;
    std::string key; ///< "-" where the key is null

    friend bool operator==(Notification const&, Notification const&) = default;
};
std::ostream& operator<<(std::ostream& stream, Notification const& notification);

using Log = std::vector<Notification>;

/// A notification as a test expects it.
struct Expected {
    const char* reactor;
    Zel::AttributeId id;
    const char* key;
};
Log logOf(std::initializer_list<Expected> notifications);

/// A reactor that logs each notification and then does what its script says.
template <class E> class Recorder final : public Zel::Object<Recorder<E>, Zel::NotifieeConstOf<E>> {
  public:
    using Script = std::function<void(Recorder& reactor, Zel::AttributeId id, void const* key)>;
    static Zel::TypeNode const _zelType;

    /// @param log  must outlive the reactor
    Recorder(std::string name, Log& log)
        : name_(std::move(name))
        , log_(log) {}

    std::string const& name() const noexcept { return name_; }
    /// What is to be done after each notification was logged. The script may destroy the reactor.
    void scriptIs(Script script) { script_ = std::move(script); }

    void onAttribute(Zel::AttributeId id, void const* key) override {
        log_.push_back({name_, id, keyText(id, key)});
        const Script script = script_;
        if (script)
            script(*this, id, key);
    }

  private:
    static std::string keyText(Zel::AttributeId id, void const* key) {
        if (!key)
            return "-";
        std::string text = "a key, where there should be none";
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::KeyedAttribute<A>)
                text = textOf(*static_cast<typename A::Key const*>(key));
        });
        return text;
    }

    std::string name_;
    Log& log_;
    Script script_;
};

template <class E> constinit Zel::TypeNode const Recorder<E>::_zelType{"Toy::Recorder", {}};

/// A new recorder, bound to the entity and active.
template <class E>
Zel::Ptr<Recorder<E>> watch(Zel::Ptr<E> const& entity, std::string name, Log& log) {
    auto recorder = Zel::newActive<Recorder<E>>(std::move(name), log);
    recorder->notifierIs(entity);
    return recorder;
}

using ::liveObjects;

} // namespace Toy
