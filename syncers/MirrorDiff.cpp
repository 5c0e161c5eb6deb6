#include "syncers/MirrorDiff.h"

#include "syncers/CopiedScalars.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

namespace Varnol {
namespace {

using Zel::Differences;
using Zel::TreeDiff;
using Zel::Value;
using Element = TreeDiff::Element;

template <class E> E const& as(Element element) {
    return static_cast<E const&>(*element->object());
}

/// Pairs the children or entries of attribute A of two objects of its class.
template <class A, class Compare>
void pairs(TreeDiff& diff, typename A::Entity const& from, typename A::Entity const& to,
           Compare const& compare) {
    diff.elements(&from, A::id, &to, A::id, A::name, compare);
}

bool isCopied(Zel::AttributeId id) {
    bool copied = false;
    forEachCopied([&](auto attribute) { copied = copied || attribute.id == id; });
    return copied;
}

void comparePort(TreeDiff& diff, RxMstPortStatus const& from, RxMstPortStatus const& to) {
    using Update = RxMstPortStatus::rxUpdateAttribute;
    using Info = RxMstPortStatus::rxInfoAttribute;
    const auto expected = [&](Value const& key) {
        auto const vlan = *key.as<Bridging::VlanIdOrNone>();
        return from.rxUpdate(vlan) != 0 && from.rxInfo().find(vlan);
    };
    for (Zel::AttributeInfo const& attribute : RxMstPortStatus::_zelType.attributes()) {
        if (attribute.id == Update::id) {
            pairs<Update>(diff, from, to, [&](Value const& key, Element source, Element dest) {
                const bool present = dest && *dest->as<unsigned>() != 0;
                if (present != expected(key))
                    diff.found(present ? nullptr : source, dest);
            });
        } else if (attribute.id == Info::id) {
            pairs<Info>(diff, from, to, [&](Value const& key, Element source, Element dest) {
                if (expected(key))
                    diff.element(source, dest);
                else
                    diff.found(nullptr, dest);
            });
        } else if (isCopied(attribute.id)) {
            diff.attribute(from, to, attribute);
        }
    }
}

/// Compares the pairs of children of attribute A, and says which are missing in the destination.
template <class A, class Compare>
void compareChildren(TreeDiff& diff, typename A::Entity const& from, typename A::Entity const& to,
                     Compare const& compare) {
    using Child = typename A::Child;
    pairs<A>(diff, from, to, [&](Value const&, Element source, Element dest) {
        if (source && dest)
            compare(diff, as<Child>(source), as<Child>(dest));
        else
            diff.found(source, nullptr);
    });
}

void compareMst(TreeDiff& diff, RxMstStatus const& from, RxMstStatus const& to) {
    compareChildren<RxMstStatus::rxMstPortStatusAttribute>(diff, from, to, comparePort);
}

/// Does something at a child of the destination, which may be missing.
template <class A, class There>
void atChild(TreeDiff& diff, typename A::Key const& key, typename A::Child const* source,
             typename A::Child const* dest, There const& there) {
    diff.at(A::name, Value(key), [&] {
        const Value missing{Zel::Ptr(source)};
        if (dest)
            there();
        else
            diff.found(&missing, nullptr);
    });
}

} // namespace

Differences mirrorDiff(TxStatusToTxSyncer const& syncer) {
    const Zel::Ptr<TxStatus const> source = syncer.source();
    TreeDiff diff;
    if (source && syncer.dest())
        diff.objects(*source, *syncer.dest());
    return diff.take();
}

Differences mirrorDiff(IntxInfoSyncer const& syncer) {
    const Zel::Ptr<IntxInfo const> source = syncer.source();
    TreeDiff diff;
    if (source && syncer.dest())
        diff.objects(*source, *syncer.dest(), TreeDiff::withoutKeys);
    return diff.take();
}

Differences mirrorDiff(TxStatusToRxSyncer const& syncer) {
    using TxMst = TxStatus::txMstStatusAttribute;
    using RxMst = RxStatus::rxMstStatusAttribute;
    using TxPort = TxMstStatus::txMstPortStatusAttribute;
    using RxPort = RxMstStatus::rxMstPortStatusAttribute;
    const Zel::Ptr<TxStatus const> source = syncer.source();
    TreeDiff diff;
    const auto ports = [&](Value const&, Element tx, Element rx) {
        if (!tx || !rx)
            diff.found(tx, rx);
    };
    const auto names = [&](Value const&, Element tx, Element rx) {
        if (tx && rx)
            diff.elements(tx->object().ptr(), TxPort::id, rx->object().ptr(), RxPort::id,
                          RxPort::name, ports);
        else
            diff.found(tx, rx);
    };
    if (source)
        diff.elements(source.ptr(), TxMst::id, syncer.rxStatus().ptr(), RxMst::id, RxMst::name,
                      names);
    return diff.take();
}

Differences mirrorDiff(RxStatusToRxDynamicSyncer const& syncer) {
    const Zel::Ptr<RxStatus const> source = syncer.source();
    TreeDiff diff;
    if (!source || !syncer.rxStatus())
        return {};
    for (Zel::AttributeInfo const& attribute : RxStatus::_zelType.attributes()) {
        if (attribute.id == RxStatus::rxMstStatusAttribute::id)
            compareChildren<RxStatus::rxMstStatusAttribute>(diff, *source, *syncer.rxStatus(),
                                                            compareMst);
        else
            diff.attribute(*source, *syncer.rxStatus(), attribute);
    }
    return diff.take();
}

Differences mirrorDiff(RxMstStatusToRxDynamicSyncer const& syncer) {
    const Zel::Ptr<RxMstStatus const> source = syncer.source();
    TreeDiff diff;
    if (!source || !syncer.rxStatus())
        return {};
    const RxMstStatus::Ptr dest = syncer.rxStatus()->rxMstStatus(syncer.mstName());
    atChild<RxStatus::rxMstStatusAttribute>(diff, syncer.mstName(), source.ptr(), dest.ptr(),
                                            [&] { compareMst(diff, *source, *dest); });
    return diff.take();
}

Differences mirrorDiff(RxMstPortStatusToRxDynamicSyncer const& syncer) {
    const Zel::Ptr<RxMstPortStatus const> source = syncer.source();
    TreeDiff diff;
    if (!source)
        return {};
    const RxMstPortStatus::Ptr dest = syncer.dest();
    diff.at(RxStatus::rxMstStatusAttribute::name, Value(syncer.mstName()), [&] {
        atChild<RxMstStatus::rxMstPortStatusAttribute>(diff, syncer.intfId(), source.ptr(),
                                                       dest.ptr(),
                                                       [&] { comparePort(diff, *source, *dest); });
    });
    return diff.take();
}

} // namespace Varnol
