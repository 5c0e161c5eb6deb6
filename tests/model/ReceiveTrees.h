#pragma once

#include "framework/zel/Trace.h"
#include "model/RxStatus.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/TraceCapture.h"
#include "tests/model/Samples.h"

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// What the tests of receive trees and their syncers share.
namespace ReceiveTrees {

using Steps = std::vector<std::string>;

inline std::string keyText(Zel::Name const& name) { return std::string(name.view()); }
inline std::string keyText(Kolvu::IntfId intf) { return std::string(intf.shortName().view()); }
template <class Number>
requires requires(Number number) { number.value(); }
std::string keyText(Number number) { return std::to_string(number.value()); }

/// A reactor that hands each notification to a function, as "attribute" or "attribute key". The
/// function may do anything, also destroy the reactor.
template <class E> class Watcher final : public Zel::Object<Watcher<E>, Zel::NotifieeConstOf<E>> {
  public:
    static Zel::TypeNode const _zelType;
    using React = std::function<void(std::string const&)>;

    explicit Watcher(React react)
        : react_(std::move(react)) {}

    void onAttribute(Zel::AttributeId id, void const* key) override {
        std::string text = std::to_string(id);
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            text = A::name;
            if constexpr (Zel::KeyedAttribute<A>) {
                if (key)
                    text += " " + keyText(*static_cast<typename A::Key const*>(key));
            } else {
                EXPECT_EQ(key, nullptr) << A::name << " has no key";
            }
        });
        const React react = react_;
        react(text);
    }

  private:
    React react_;
};
template <class E> constinit Zel::TypeNode const Watcher<E>::_zelType{"Watcher", {}};

template <class E>
Zel::Ptr<Watcher<E>> watch(Zel::Ptr<E> const& entity, typename Watcher<E>::React react) {
    auto watcher = Zel::newActive<Watcher<E>>(std::move(react));
    watcher->notifierIs(entity);
    return watcher;
}
/// A watcher that notes "who attribute key".
template <class E>
Zel::Ptr<Watcher<E>> note(Zel::Ptr<E> const& entity, Steps& steps, std::string who = "") {
    return watch<E>(entity, [&steps, who = std::move(who)](std::string const& text) {
        steps.push_back(who.empty() ? text : who + " " + text);
    });
}

/// What was noted since the last time.
inline Steps take(Steps& steps) { return std::exchange(steps, {}); }

/// While it lives, what the receive syncers trace at any level is noted too, in its place among the
/// other steps, as "level function: text".
class NoteTraces {
  public:
    explicit NoteTraces(Steps& steps)
        : former_(Zel::traceSinkIs({&take, &steps})) {}
    NoteTraces(NoteTraces const&) = delete;
    NoteTraces& operator=(NoteTraces const&) = delete;
    ~NoteTraces() { Zel::traceSinkIs(former_); }

  private:
    static void take(Zel::TraceRecord const& record, void* context) {
        EXPECT_EQ(record.handle, "StpRxStatusSyncer");
        EXPECT_EQ(record.file, "StpRxStatusSyncer.cpp");
        EXPECT_GT(record.line, 0U);
        static_cast<Steps*>(context)->push_back(std::to_string(record.level) + " " +
                                                std::string(record.function) + ": " +
                                                std::string(record.text));
    }

    TraceCapture levels_{"StpRxStatusSyncer", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}};
    Zel::TraceSink former_;
};

/// Live objects by class, of every registered class.
inline std::map<std::string, Zel::U64> liveObjects() {
    std::map<std::string, Zel::U64> live;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        live.emplace(type->name(), type->allocations().liveCount());
    return live;
}

/// Runs each test with the thread-safe counting off and on, and expects that afterwards no more
/// objects live than before. What a test holds is held by members of derived fixtures, or locally.
class Fixture : public ::testing::TestWithParam<bool> {
  protected:
    Fixture() { Zel::VFPtrInterface::threadSafePointers_ = GetParam(); }
    ~Fixture() override {
        EXPECT_EQ(liveObjects(), before_);
        Zel::VFPtrInterface::threadSafePointers_ = wasOn_;
    }

  private:
    const bool wasOn_ = Zel::VFPtrInterface::threadSafePointers_;
    std::map<std::string, Zel::U64> before_ = liveObjects();
};

inline std::string parameterName(::testing::TestParamInfo<bool> const& info) {
    return info.param ? "ThreadSafe" : "Plain";
}

inline Kolvu::IntfId et(Zel::U16 port) { return Kolvu::IntfId::ethernet(port); }

inline Varnol::PortCounters counters(Zel::U32 first) {
    return {first, first + 1, first + 2, first + 3, first + 4, first + 5};
}

/// Values for a port, different for different seeds.
inline void fill(Varnol::RxMstPortStatus& port, unsigned seed) {
    port.bpduCountIs(seed + 1);
    port.rateLimitIntervalIs(seed + 0.5);
    port.rateLimitMaxCountIs(seed + 2);
    port.rateLimitEnabledIs(true);
    port.countersIs(counters(seed + 10));
    port.localCountersIs(counters(seed + 20));
}
inline void fill(Varnol::RxStatus& root, unsigned seed) {
    root.localHeartbeatIs(seed + 1);
    root.peerHeartbeatIs(seed + 2);
    root.updateCtrTimeIs(seed + 3.5);
    root.localUpdateCtrTimeIs(seed + 4.5);
    root.peerUpdateCtrTimeIs(seed + 5.5);
}

/// A tree as text, one line for each thing in it, sorted by keys; equal texts are equal trees.
template <class Value> std::string valueText(Value const& value) {
    if constexpr (std::is_same_v<Value, double>) {
        return std::to_string(value);
    } else {
        Zel::TraceStream out;
        out << value;
        return std::string(out.text());
    }
}
template <class E> std::string scalarText(E const& entity) {
    std::string text;
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>)
            text += std::string(" ") + std::string(A::name) + "=" +
                    valueText<typename A::Value>(A::read(entity));
    });
    return text;
}
inline Steps textOf(Varnol::RxMstPortStatus const& port) {
    Steps lines{scalarText(port)};
    std::map<unsigned, std::string> vlans;
    for (Zel::Ptr<Varnol::IntxInfo const> const& record : port.rxInfo())
        vlans[record->vlanId().value()] = valueText(record.ptr());
    for (auto const& entry : port.rxUpdate())
        vlans[entry.key().value()] += " updates " + std::to_string(entry.value());
    for (auto const& [vlan, text] : vlans)
        lines.push_back("vlan " + std::to_string(vlan) + " " + text);
    return lines;
}
inline Steps textOf(Varnol::RxMstStatus const& mst) {
    Steps lines;
    std::map<Kolvu::IntfId, Steps> ports;
    for (Zel::Ptr<Varnol::RxMstPortStatus const> const& port : mst.rxMstPortStatus())
        ports[port->intfId()] = textOf(*port);
    for (auto const& [intf, text] : ports) {
        for (std::string const& line : text)
            lines.push_back(keyText(intf) + " " + line);
    }
    return lines;
}
inline Steps textOf(Varnol::RxStatus const& root) {
    Steps lines{scalarText(root)};
    std::map<std::string, Steps> names;
    for (Zel::Ptr<Varnol::RxMstStatus const> const& mst : root.rxMstStatus())
        names[keyText(mst->name())] = textOf(*mst);
    for (auto const& [name, text] : names) {
        lines.push_back(name);
        for (std::string const& line : text)
            lines.push_back(name + " " + line);
    }
    return lines;
}

/// The text of the exception of class X that the action throws.
template <class X, class Action> std::string textThrown(Action const& action) {
    try {
        action();
    } catch (X const& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

/// Lets each allocation of the action fail in turn; every failure has to reach the caller and to
/// leave no object and no memory behind. What the action makes it has to drop.
/// @param allocations  how many the action makes, at least
template <class Action>
void expectNothingLeakedByAnyFailure(unsigned allocations, Action const& action) {
    action(); // what is allocated once per process
    unsigned failures = 0;
    for (std::size_t n = 1;; ++n) {
        const auto live = liveObjects();
        const auto outstanding = FailingAllocation::outstanding();
        bool thrown = false;
        bool happened = false;
        {
            const FailingAllocation failing(n);
            try {
                action();
            } catch (std::bad_alloc const&) {
                thrown = true;
            }
            happened = failing.happened();
        }
        EXPECT_EQ(thrown, happened) << n;
        EXPECT_EQ(FailingAllocation::outstanding(), outstanding) << n;
        EXPECT_EQ(liveObjects(), live) << n;
        if (!thrown)
            break;
        ++failures;
    }
    EXPECT_GE(failures, allocations);
}

} // namespace ReceiveTrees
