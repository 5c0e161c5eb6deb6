#pragma once

#include "framework/zel/Entity.h"
#include "framework/zel/Object.h"
#include "model/IntxInfo.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// The order of the writes to a record and to its entries, entries that come later included.
///
/// A write to the record reads "stpVersion", one to the entry of instance 3 "3.flags", the creation
/// of that entry "+3" and its deletion "-3".
class WriteLog {
  public:
    explicit WriteLog(Varnol::IntxInfo::Ptr const& record)
        : record_(record) {
        watch(*record, "");
        for (Zel::Ptr<Varnol::IntxMstiInfo const> const& entry : record->mstiN())
            watchEntry(*entry);
    }
    WriteLog(WriteLog const&) = delete;
    WriteLog& operator=(WriteLog const&) = delete;
    ~WriteLog() {
        for (Zel::Ptr<Zel::PtrInterface::NotifieeConst> const& watcher : watchers_)
            watcher->notifierIs(nullptr);
    }

    /// What is to be done inside a write, after it was noted.
    std::function<void(std::string const& write)> at;

    /// The writes since the last time.
    std::vector<std::string> take() { return std::exchange(writes_, {}); }

  private:
    template <class E>
    class Watcher final : public Zel::Object<Watcher<E>, Zel::NotifieeConstOf<E>> {
      public:
        static Zel::TypeNode const _zelType;

        Watcher(WriteLog& log, std::string prefix)
            : log_(log)
            , prefix_(std::move(prefix)) {}

        void onAttribute(Zel::AttributeId id, void const* key) override {
            if (key) {
                log_.collectionChanged(*static_cast<Stp::BridgeSystemId const*>(key));
            } else {
                Zel::AttributeInfo const* attribute = E::_zelType.attribute(id);
                ASSERT_NE(attribute, nullptr) << id;
                log_.note(prefix_ + std::string(attribute->name));
            }
        }

      private:
        WriteLog& log_;
        std::string prefix_;
    };

    template <class E> void watch(E const& entity, std::string prefix) {
        auto watcher = Zel::newActive<Watcher<E>>(*this, std::move(prefix));
        watcher->notifierIs(Zel::Ptr<E const>(&entity));
        watchers_.push_back(watcher);
    }
    void watchEntry(Varnol::IntxMstiInfo const& entry) {
        watch(entry, std::to_string(entry.mstiId().value()) + ".");
    }
    void collectionChanged(Stp::BridgeSystemId key) {
        const Varnol::IntxMstiInfo::Ptr entry = record_->mstiN(key);
        if (entry)
            watchEntry(*entry);
        note((entry ? "+" : "-") + std::to_string(key.value()));
    }
    void note(std::string write) {
        writes_.push_back(write);
        if (at)
            at(write);
    }

    Varnol::IntxInfo::Ptr record_;
    std::vector<Zel::Ptr<Zel::PtrInterface::NotifieeConst>> watchers_;
    std::vector<std::string> writes_;
};

template <class E>
constinit Zel::TypeNode const WriteLog::Watcher<E>::_zelType{"WriteLog::Watcher", {}};

using Writes = std::vector<std::string>;

/// The attributes of an entry, in the order in which they are written.
inline Writes const entryAttributes{"flags",
                                    "bridgeId",
                                    "portId",
                                    "cistRootBridgeId",
                                    "cistExtRootPathCost",
                                    "cistRegionalRootBridgeId",
                                    "intRootPathCost",
                                    "regionalRootBridgeId",
                                    "remainingHops",
                                    "messageAge",
                                    "maxAge",
                                    "helloTime",
                                    "fwdDelay"};

/// The writes of a record's scalars, in their order.
inline Writes const scalarWrites{"neighborAddr",        "stpVersion",       "intxInfoType",
                                 "configRevisionLevel", "configNameString", "configDigest"};

/// The writes of all attributes of the entry of an instance, in their order.
inline Writes entryWrites(unsigned instance) {
    Writes writes;
    for (std::string const& attribute : entryAttributes)
        writes.push_back(std::to_string(instance) + "." + attribute);
    return writes;
}

inline Writes operator+(Writes left, Writes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The keys of a record's entries, in their order.
inline std::vector<unsigned> keysOf(Varnol::IntxInfo const& record) {
    std::vector<unsigned> keys;
    for (Zel::Ptr<Varnol::IntxMstiInfo const> const& entry : record.mstiN())
        keys.push_back(entry->mstiId().value());
    return keys;
}

/// Whether all scalars of two entities are equal.
template <class E> void expectEqualScalars(E const& left, E const& right) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_TRUE(A::read(left) == A::read(right)) << A::name;
        }
    });
}

/// Whether two records are equal but for their VLAN.
inline void expectEqualRecords(Varnol::IntxInfo const& left, Varnol::IntxInfo const& right) {
    expectEqualScalars(left, right);
    ASSERT_EQ(keysOf(left), keysOf(right));
    for (Zel::Ptr<Varnol::IntxMstiInfo const> const& entry : left.mstiN()) {
        SCOPED_TRACE(entry->mstiId().value());
        expectEqualScalars(*entry, *right.mstiN().find(entry->mstiId()));
    }
}

/// Whether all scalars of an entity are zero.
template <class E> void expectZeroScalars(E const& entity) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_TRUE(A::read(entity) == typename A::Value{}) << A::name;
        }
    });
}
