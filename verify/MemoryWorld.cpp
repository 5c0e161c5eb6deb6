#include "verify/MemoryWorld.h"

#include "bpdu/VarnolCommon.h"
#include "framework/zel/Exception.h"
#include "framework/zel/GenericIf.h"
#include "syncers/MirrorDiff.h"
#include "verify/RandomTree.h"

#include <algorithm>
#include <span>
#include <typeinfo>

namespace {

using Verify::Run;
using Zel::U32;
using Zel::U64;

/// Text that needs memory of its own, wherever it is kept.
constexpr std::string_view longText = "a name too long to be kept without memory of its own";

template <class Key> Key anyKey(Run& run) {
    if constexpr (std::is_same_v<Key, Zel::Name>) {
        if (run.below(6) == 0)
            return Zel::Name(longText);
    }
    return *Verify::randomKey(run, typeid(Key)).as<Key>();
}

template <class Element> auto anyElement(Run& run, auto const& map) {
    U64 at = run.below(map.members());
    auto walk = map.begin();
    for (; at != 0; --at)
        ++walk;
    return Zel::Ptr<Element const>(*walk);
}

/// The mutator that puts an entity under its own key.
template <class E, class Member> void put(E& entity, Zel::Ptr<Member> const& member) {
    if constexpr (requires { entity.txMstStatusMemberIs(member); })
        entity.txMstStatusMemberIs(member);
    else if constexpr (requires { entity.txMstPortStatusMemberIs(member); })
        entity.txMstPortStatusMemberIs(member);
    else if constexpr (requires { entity.txInfoMemberIs(member); })
        entity.txInfoMemberIs(member);
    else if constexpr (requires { entity.rxMstStatusMemberIs(member); })
        entity.rxMstStatusMemberIs(member);
    else if constexpr (requires { entity.rxMstPortStatusMemberIs(member); })
        entity.rxMstPortStatusMemberIs(member);
    else if constexpr (requires { entity.rxInfoMemberIs(member); })
        entity.rxInfoMemberIs(member);
    else
        entity.mstiNMemberIs(member);
}

/// An entity in no tree, with a part of what it can have under it.
template <class E, class Key> Zel::Ptr<E> filled(Key const& key, U64 seed) {
    Run run;
    run.random().seed(seed);
    const Zel::Ptr<E> made(new E(key));
    for (U64 changes = run.below(12); changes != 0; --changes)
        Verify::randomChange(run, *made);
    return made;
}

template <class E, class Syncer>
std::string watchingText(const char* name, Zel::Ptr<Syncer> const& syncer,
                         std::array<Zel::Ptr<E>, 2> const& sources) {
    std::string text(name);
    if (!syncer)
        return text + ": none";
    const Zel::Ptr<E const> source = syncer->source();
    for (std::size_t place = 0; place < sources.size(); ++place) {
        if (source == sources[place])
            text += ": " + std::to_string(place);
    }
    if (!source)
        text += ": nothing";
    if (!syncer->hasNotificationActive())
        text += ", paused";
    if (syncer->zelMarkedForDeletion())
        text += ", a zombie";
    return text;
}

std::string octetsText(std::span<Zel::U8 const> octets) {
    std::string text = std::to_string(octets.size()) + ":";
    for (const Zel::U8 octet : octets)
        text.append(1, "0123456789abcdef"[octet >> 4]).append(1, "0123456789abcdef"[octet & 15]);
    return text;
}

/// Writes octets that tell where they stand, apart from where a packet begins.
void number(std::span<Zel::U8> octets) {
    for (std::size_t at = 0; at < octets.size(); ++at)
        octets[at] = static_cast<Zel::U8>(1 + at % 251);
}

} // namespace

MemoryWorld::MemoryWorld(U64 seed)
    : port_(new Stp::MstPortSm(Stp::Port::Ptr(new Stp::Port))) {
    for (std::size_t place = 0; place < places; ++place) {
        tx_[place] = Varnol::TxStatus::Ptr(new Varnol::TxStatus);
        rx_[place] = Varnol::RxStatus::Ptr(new Varnol::RxStatus);
        record_[place] = Varnol::IntxInfo::Ptr(new Varnol::IntxInfo(1));
    }
    Run run;
    run.random().seed(seed);
    disturb(run.random()(), 1 + static_cast<unsigned>(run.below(60)));
}

void MemoryWorld::disturb(U64 seed, unsigned operations) {
    Run run;
    run.random().seed(seed);
    for (; operations != 0; --operations) {
        try {
            choose(run).on(*this).act();
        } catch (Zel::NameInUseException const&) {
            // The receive syncers refuse another entity under a name that they have.
        }
    }
}

std::array<MemoryWorld::Root, 6> MemoryWorld::sources() const {
    return {tx_[0], tx_[1], rx_[0], rx_[1], record_[0], record_[1]};
}

MemoryWorld::Lines MemoryWorld::watching() const {
    return {watchingText("txToTx", txToTx_, tx_),
            watchingText("txToRx", txToRx_, tx_),
            watchingText("rxToDynamic", rxToDynamic_, rx_),
            watchingText("recordSyncer", recordSyncer_, record_),
            watchingText("counter", counter_, record_),
            "packet: " + (packet_ ? octetsText(packet_->data()) : "none")};
}

std::array<MemoryWorld::Root, 3> MemoryWorld::destinations() const {
    return {txDest_, dynamic_, recordDest_};
}

std::vector<std::string> MemoryWorld::differences() const {
    std::vector<std::string> paths;
    const auto add = [&](const char* name, auto const& syncer) {
        if (!syncer)
            return;
        for (Zel::Difference const& each : Varnol::mirrorDiff(*syncer))
            paths.push_back(name + each.path);
    };
    add("txToTx ", txToTx_);
    add("txToRx ", txToRx_);
    add("rxToDynamic ", rxToDynamic_);
    add("record ", recordSyncer_);
    return paths;
}

void MemoryWorld::drainPackets() {
    packet_ = nullptr;
    while (packets_.size() <= Kolvu::Pkt::Manager::keptLimit)
        packets_.push_back(Kolvu::globalPktManager().newPkt());
}

MemoryWorld::Operation MemoryWorld::choose(Run& run) const {
    const U64 place = run.below(4) == 0 ? 1 : 0;
    switch (run.below(16)) {
    case 0:
        return onPackets(run);
    case 1:
    case 2:
    case 3:
    case 4:
        return onSyncers(run);
    case 5:
    case 6:
        return onEntity<Varnol::IntxInfo>(
            run, [place](MemoryWorld const& world) { return world.record_[place]; },
            *record_[place], "record" + std::to_string(place));
    case 7:
    case 8:
    case 9:
    case 10:
        return onEntity<Varnol::RxStatus>(
            run, [place](MemoryWorld const& world) { return world.rx_[place]; }, *rx_[place],
            "rx" + std::to_string(place));
    default:
        return onEntity<Varnol::TxStatus>(
            run, [place](MemoryWorld const& world) { return world.tx_[place]; }, *tx_[place],
            "tx" + std::to_string(place));
    }
}

/// An operation on an attribute of the entity, or of one that is under it.
template <class E>
MemoryWorld::Operation MemoryWorld::onEntity(Run& run, At<E> const& at, E const& here,
                                             std::string place) {
    auto const attributes = E::_zelType.attributes();
    Operation chosen;
    while (!chosen.on) {
        const Zel::AttributeId id = Verify::oneOf(run, attributes).id;
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::ElementsAttribute<A>) {
                chosen = onElements<A>(run, at, here, place + "." + std::string(A::name));
            } else if constexpr (Zel::ScalarAttribute<A>) {
                if (run.below(3) != 0)
                    return; // elements are what needs memory
                using Value = typename A::Value;
                chosen.name = place + "." + std::string(A::name) + " =";
                const Zel::Value value = Verify::randomValue(run, typeid(Value));
                chosen.on = [at, value](MemoryWorld& world) -> Action {
                    const Zel::Ptr<E> entity = at(world);
                    return {[entity, value] {
                        if constexpr (std::is_same_v<Value, Zel::String>)
                            A::write(*entity, Zel::String(value.as<Value>()->view()));
                        else
                            A::write(*entity, *value.as<Value>());
                        return true;
                    }};
                };
            }
        });
    }
    return chosen;
}

template <class A, class E>
MemoryWorld::Operation MemoryWorld::onElements(Run& run, At<E> const& at, E const& here,
                                               std::string const& place) {
    using Key = typename A::Key;
    if constexpr (Zel::CollectionAttribute<A>) {
        if (A::read(here).members() != 0 && run.below(3) != 0) {
            using Child = typename A::Child;
            const auto child = anyElement<Child>(run, A::read(here));
            const Key key = child->fwkKey();
            return onEntity<Child>(
                run, [at, key](MemoryWorld const& world) { return A::child(*at(world), key); },
                *child, place + "[" + std::string(Zel::keyInfo(*child).view()) + "]");
        }
    }
    const Key key = anyKey<Key>(run);
    const U64 seed = run.random()();
    const auto operation = [&](const char* what, auto act) {
        return Operation{place + "[" + Zel::Value(key).text() + "] " + what,
                         [at, key, act](MemoryWorld& world) -> Action {
                             const Zel::Ptr<E> entity = at(world);
                             return {act(entity), [entity, key] { entity->notify(A::id, &key); }};
                         }};
    };
    if (run.below(4) == 0) {
        return operation("deleted", [key](Zel::Ptr<E> const& entity) {
            return [entity, key] {
                A::del(*entity, key);
                return true;
            };
        });
    }
    if constexpr (Zel::ValueMapAttribute<A>) {
        return operation("written", [key, seed](Zel::Ptr<E> const& entity) {
            return [entity, key, seed] {
                A::set(*entity, key, static_cast<typename A::Value>(seed % 4));
                return true;
            };
        });
    } else {
        using Child = typename A::Child;
        switch (run.below(3)) {
        case 0:
            return operation("created", [key](Zel::Ptr<E> const& entity) {
                return [entity, key] { return A::create(*entity, key) != nullptr; };
            });
        case 1:
            return operation("created by the generic interface", [key](Zel::Ptr<E> const& entity) {
                return [entity, key] {
                    Zel::Value made;
                    return Zel::genericIfAttributeOp(*entity, A::id, Zel::AttributeOp::write, made,
                                                     Zel::Value(key)) == Zel::GenericIfResult::done;
                };
            });
        default:
            return operation("put", [key, seed](Zel::Ptr<E> const& entity) {
                const Zel::Ptr<Child> member = filled<Child>(key, seed);
                return [entity, member] {
                    put(*entity, member);
                    return true;
                };
            });
        }
    }
}

MemoryWorld::Operation MemoryWorld::onSyncers(Run& run) {
    switch (run.below(4)) {
    case 0:
        return onReceiveSyncer(run);
    case 1:
        return onRecordSyncers(run);
    default:
        return onTransmitSyncers(run);
    }
}

namespace {

constexpr U64 noSource = 2;

template <class E>
Zel::Ptr<E const> sourceAt(std::array<Zel::Ptr<E>, 2> const& sources, U64 place) {
    return place == noSource ? nullptr : Zel::Ptr<E const>(sources[place]);
}

/// What every root syncer can do; nothing where there is none.
template <class Syncer, class E>
std::function<bool()> disturbance(U64 which, Zel::Ptr<Syncer>& syncer,
                                  Zel::Ptr<E const> const& source) {
    switch (which) {
    case 0:
        return [&syncer] {
            if (syncer)
                syncer->sourceDel();
            return true;
        };
    case 1:
        return [&syncer] {
            if (syncer)
                syncer->hasNotificationActiveIs(!syncer->hasNotificationActive());
            return true;
        };
    case 2:
        return [&syncer] {
            syncer = nullptr;
            return true;
        };
    default:
        return [&syncer, source] {
            if (syncer)
                syncer->sourceIs(source);
            return true;
        };
    }
}

} // namespace

MemoryWorld::Operation MemoryWorld::onTransmitSyncers(Run& run) {
    const U64 place = run.below(8) == 0 ? noSource : run.below(places);
    const U64 which = run.below(10);
    switch (which) {
    case 0:
    case 1:
    case 2:
        return {"txStatusToTxSyncerFactory", [place](MemoryWorld& world) -> Action {
                    world.txToTx_ = nullptr;
                    return {[&world, source = sourceAt(world.tx_, place)] {
                        world.txToTx_ = Varnol::txStatusToTxSyncerFactory(source, world.txDest_);
                        return true;
                    }};
                }};
    case 3:
    case 4:
        return {"txStatusToRxSyncerFactory", [place](MemoryWorld& world) -> Action {
                    world.txToRx_ = nullptr;
                    return {[&world, source = sourceAt(world.tx_, place % places)] {
                        world.txToRx_ = Varnol::txStatusToRxSyncerFactory(source, world.dynamic_);
                        return true;
                    }};
                }};
    default: {
        const U64 what = run.below(8);
        return {"TxStatusToTxSyncer and TxStatusToRxSyncer: disturbance " + std::to_string(what),
                [what, place, toTx = which < 8](MemoryWorld& world) -> Action {
                    const auto source = sourceAt(world.tx_, place);
                    return {toTx ? disturbance(what, world.txToTx_, source)
                                 : disturbance(what, world.txToRx_, source)};
                }};
    }
    }
}

MemoryWorld::Operation MemoryWorld::onReceiveSyncer(Run& run) {
    const U64 place = run.below(8) == 0 ? noSource : run.below(places);
    if (run.below(2) == 0) {
        return {"rxStatusToRxDynamicSyncerFactory", [place](MemoryWorld& world) -> Action {
                    world.rxToDynamic_ = nullptr;
                    return {[&world, source = sourceAt(world.rx_, place)] {
                        world.rxToDynamic_ =
                            Varnol::rxStatusToRxDynamicSyncerFactory(source, world.dynamic_);
                        return true;
                    }};
                }};
    }
    const U64 what = run.below(8);
    return {"RxStatusToRxDynamicSyncer: disturbance " + std::to_string(what),
            [what, place](MemoryWorld& world) -> Action {
                return {disturbance(what, world.rxToDynamic_, sourceAt(world.rx_, place)),
                        [&world] {
                            if (world.rxToDynamic_)
                                world.rxToDynamic_->handleMstStatus();
                        }};
            }};
}

MemoryWorld::Operation MemoryWorld::onRecordSyncers(Run& run) {
    const U64 place = run.below(8) == 0 ? noSource : run.below(places);
    const U64 what = run.below(8);
    switch (run.below(6)) {
    case 0:
    case 1:
        return {"intxInfoSyncerFactory", [place](MemoryWorld& world) -> Action {
                    world.recordSyncer_ = nullptr;
                    return {[&world, source = sourceAt(world.record_, place)] {
                        world.recordSyncer_ = Varnol::intxInfoSyncerFactory(
                            source, world.recordDest_, 1, Zel::String(longText));
                        return true;
                    }};
                }};
    case 2:
        return {"intxInfoChangeSmFactory", [place](MemoryWorld& world) -> Action {
                    world.counter_ = nullptr;
                    return {[&world, source = sourceAt(world.record_, place)] {
                        world.counter_ = Varnol::intxInfoChangeSmFactory(source, 1);
                        return true;
                    }};
                }};
    case 3:
        return {"copyIntxInfo", [place](MemoryWorld& world) -> Action {
                    return {[&world, source = sourceAt(world.record_, place % places)] {
                        Varnol::copyIntxInfo(source, world.recordDest_);
                        return true;
                    }};
                }};
    case 4:
        return {"IntxInfoChangeSm: disturbance " + std::to_string(what),
                [what, place](MemoryWorld& world) -> Action {
                    return {disturbance(what, world.counter_, sourceAt(world.record_, place))};
                }};
    default:
        return {"IntxInfoSyncer: disturbance " + std::to_string(what),
                [what, place](MemoryWorld& world) -> Action {
                    return {disturbance(what, world.recordSyncer_, sourceAt(world.record_, place))};
                }};
    }
}

MemoryWorld::Operation MemoryWorld::onPackets(Run& run) {
    const auto octets = static_cast<U32>(run.below(3) == 0 ? 36 : run.below(8000));
    switch (run.below(4)) {
    case 0:
        return {"VarnolGetPkt", [octets](MemoryWorld& world) -> Action {
                    world.drainPackets();
                    return {[&world, octets] {
                        Stp::CommonBpdu* bpdu = nullptr;
                        world.packet_ = Varnol::VarnolGetPkt(0, {}, octets, &bpdu);
                        if (world.packet_)
                            number(world.packet_->data().last(octets));
                        return world.packet_ != nullptr;
                    }};
                }};
    case 1:
        return {"generatePktFromIntxInfo", [](MemoryWorld& world) -> Action {
                    world.drainPackets();
                    const Varnol::IntxInfo::Ptr info(new Varnol::IntxInfo(0));
                    info->stpVersionIs(2);
                    info->mstiNIs(0);
                    return {[&world, info] {
                        world.packet_ = Varnol::generatePktFromIntxInfo(world.port_, info, false);
                        return world.packet_ != nullptr;
                    }};
                }};
    case 2:
        return {"Pkt::newSharedHeadData", [octets](MemoryWorld& world) -> Action {
                    world.drainPackets();
                    const Kolvu::Pkt::Ptr pkt = world.packets_.front();
                    const Kolvu::Pkt::Ptr other = pkt->clone(); // so that the data has to move
                    const auto size = pkt->data().size();
                    world.packet_ = pkt;
                    return {[pkt, other, octets, size] {
                        if (pkt->data().size() == size) {
                            pkt->newSharedHeadData(octets);
                            number(pkt->data().first(octets));
                        }
                        return true;
                    }};
                }};
    default:
        return {"Pkt::clone", [](MemoryWorld& world) -> Action {
                    world.drainPackets();
                    return {[&world] {
                        world.packet_ = world.packets_.front()->clone();
                        return world.packet_ != nullptr;
                    }};
                }};
    }
}
