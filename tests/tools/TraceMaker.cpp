#include "tests/tools/TraceMaker.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace TraceTool::Test {

template <class T> T TraceMaker::get(std::size_t at) const {
    T value;
    if (at + sizeof value > octets_.size())
        throw std::out_of_range("TraceMaker");
    std::memcpy(&value, octets_.data() + at, sizeof value);
    return value;
}

template <class T> void TraceMaker::put(std::size_t at, T value) {
    if (at + sizeof value > octets_.size())
        throw std::out_of_range("TraceMaker");
    std::memcpy(octets_.data() + at, &value, sizeof value);
}

template U8 TraceMaker::get(std::size_t) const;
template U16 TraceMaker::get(std::size_t) const;
template U32 TraceMaker::get(std::size_t) const;
template U64 TraceMaker::get(std::size_t) const;
template void TraceMaker::put(std::size_t, U8);
template void TraceMaker::put(std::size_t, U16);
template void TraceMaker::put(std::size_t, U32);
template void TraceMaker::put(std::size_t, U64);

TraceMaker::TraceMaker(Sizes const& sizes)
    : sizes_(sizes)
    , lanesOffset_(sizes.header)
    , descriptorsOffset_(laneAt(sizes.lanes))
    , ringOffset_(descriptorsOffset_ + sizes.descriptors)
    , descriptorsEnd_(descriptorsOffset_)
    , octets_(ringOffset_ + static_cast<std::size_t>(sizes.places * sizes.record))
    , lanes_(sizes.lanes) {
    std::memcpy(octets_.data(), "FENNIC\r\n", 8);
    put<U32>(At::version, 2);
    put<U32>(At::headerSize, sizes.header);
    put<U32>(At::clock, 1);
    put<U64>(At::memorySize, octets_.size());
    put<U32>(At::descriptorsOffset, static_cast<U32>(descriptorsOffset_));
    put<U32>(At::descriptorsSize, sizes.descriptors);
    put<U32>(At::ringOffset, static_cast<U32>(ringOffset_));
    put<U32>(At::recordSize, sizes.record);
    put<U64>(At::ringCapacity, sizes.places);
    put<U64>(At::nextSequence, 1);
    put<U64>(At::attachedAt, attachedAt);
    put<U64>(At::attachedAtRealtime, attachedAtRealtime);
    put<U32>(At::processId, noProcess);
    put<U32>(At::lanesOffset, static_cast<U32>(lanesOffset_));
    put<U32>(At::laneCount, sizes.lanes);
    put<U32>(At::laneSize, static_cast<U32>(laneAt(1) - laneAt(0)));
    put<U32>(At::framesPerLane, sizes.frames);
    put<U32>(At::chunkSize, sizes.chunk);
    message("(no room for the descriptor)");
    put<U32>(At::orderMark, 0x01020304);
}

U32 TraceMaker::descriptor(U32 kind, std::string_view text, std::string_view second, U32 line) {
    const std::size_t size = (24 + text.size() + second.size() + 7) / 8 * 8;
    if (descriptorsEnd_ + size > ringOffset_)
        throw std::length_error("no room for a descriptor");
    const U32 id = static_cast<U32>(descriptorsAt_.size());
    const std::size_t at = descriptorsEnd_;
    put<U32>(at, static_cast<U32>(size));
    put<U32>(at + 4, id);
    put<U32>(at + 8, line);
    put<U32>(at + 12, static_cast<U32>(text.size()));
    put<U32>(at + 16, static_cast<U32>(second.size()));
    put<U32>(at + 20, kind);
    std::memcpy(octets_.data() + at + 24, text.data(), text.size());
    if (!second.empty())
        std::memcpy(octets_.data() + at + 24 + text.size(), second.data(), second.size());
    descriptorsAt_.push_back(at);
    descriptorsEnd_ += size;
    put<U32>(At::descriptorCount, id + 1);
    return id;
}

void TraceMaker::putKey(std::size_t at, Key const& key) {
    put<U8>(at, key.kind);
    if (key.kind == 1)
        put<U64>(at + 8, key.number);
    if (key.kind == 2) {
        put<U8>(at + 1, static_cast<U8>(std::min<std::size_t>(key.text.size(), 255)));
        std::memcpy(octets_.data() + at + 2, key.text.data(),
                    std::min<std::size_t>(key.text.size(), 22));
    }
}

void TraceMaker::enter(unsigned lane, U64 at, Block const& block) {
    LaneState& state = lanes_.at(lane);
    put<U64>(laneAt(lane) + At::threadId, 4711 + lane);
    if (state.depth < sizes_.frames) {
        const std::size_t frame = frameAt(lane, static_cast<unsigned>(state.depth));
        std::fill_n(octets_.begin() + static_cast<std::ptrdiff_t>(frame), 96, std::byte{0});
        put<U64>(frame + At::begin, attachedAt + at);
        put<U64>(frame + At::entity, block.entity);
        put<U32>(frame + At::messageId, block.message);
        put<U16>(frame + At::attribute, block.attribute);
        put<U16>(frame + At::lane, static_cast<U16>(lane));
        put<U32>(frame + At::typeId, block.type);
        put<U16>(frame + At::recordDepth, static_cast<U16>(state.depth));
        put<U8>(frame + At::kind, block.kind);
        putKey(frame + At::entityKey, block.entityKey);
        putKey(frame + At::key, block.key);
    }
    put<U64>(laneAt(lane) + At::depth, ++state.depth);
}

U64 TraceMaker::leave(unsigned lane, U64 at) {
    const U64 sequence = beginLeaving(lane, at);
    endLeaving(lane, sequence);
    return sequence;
}

U64 TraceMaker::beginLeaving(unsigned lane, U64 at) {
    LaneState& state = lanes_.at(lane);
    if (state.depth == 0 || state.depth > sizes_.frames)
        throw std::logic_error("no block that can be left");
    if (state.next == state.chunkEnd) {
        state.next = get<U64>(At::nextSequence);
        state.chunkEnd = state.next + sizes_.chunk;
        put<U64>(At::nextSequence, state.chunkEnd);
    }
    const U64 sequence = state.next++;
    const std::size_t record = recordAt(sequence);
    const std::size_t frame = frameAt(lane, static_cast<unsigned>(state.depth - 1));
    put<U64>(record, sequence | U64{1} << 63);
    std::memcpy(octets_.data() + record + 8, octets_.data() + frame + 8, 96 - 8);
    put<U64>(record + At::end, attachedAt + at);
    return sequence;
}

void TraceMaker::endLeaving(unsigned lane, U64 sequence) {
    put<U64>(recordAt(sequence), sequence);
    put<U64>(laneAt(lane) + At::recordCount, get<U64>(laneAt(lane) + At::recordCount) + 1);
    put<U64>(laneAt(lane) + At::depth, --lanes_.at(lane).depth);
}

TraceMaker sample() {
    TraceMaker maker;
    const U32 status =
        maker.type("Varnol::TxStatus", "258\ttxMstStatus\tVarnol::TxMstStatus\tZel::Name\n"
                                       "259\theartbeatTimeout\tfloat\n");
    const U32 mst = maker.type("Varnol::TxMstStatus",
                               "258\ttxMstPortStatus\tVarnol::TxMstPortStatus\tKolvu::IntfId\n");
    const U32 port = maker.type("Varnol::TxMstPortStatus",
                                "258\tintfId\tKolvu::IntfId\n"
                                "259\ttxUpdate\tunsigned int\tBridging::VlanIdOrNone\n");
    const U32 syncer = maker.type("Varnol::TxStatusToTxSyncer");
    const U32 source = maker.type("Varnol::TxStatusToTxSyncer::ZelSource");
    const U32 portSyncer = maker.type("Varnol::TxStatusToTxSyncer::ZelTxMstPortStatusSm");
    const U32 counter = maker.type("Varnol::IntxInfoChangeSm");
    const U32 handleMst = maker.message("Varnol::TxStatusToTxSyncer::handleTxMstStatus():120",
                                        "syncers/StpTxStatusSyncer.cpp", 120);
    const U32 handleUpdate = maker.message("Varnol::TxStatusToTxSyncer::handleTxUpdate():230",
                                           "syncers/StpTxStatusSyncer.cpp", 230);
    const U64 et1 = U64{1} << 24 | 1;

    const Block mstChanged{reaction, source, 0x1000, status, {}, 258, text("mst1")};
    maker.enter(0, 1'000, mstChanged);
    Block handling = mstChanged;
    handling.kind = handler;
    handling.message = handleMst;
    maker.enter(0, 2'000, handling);
    maker.enter(0, 3'000, {writing, syncer, 0x2000, status, {}, 258, text("mst1")});
    maker.enter(0, 4'500, {reaction, counter, 0x2000, status, {}, 258, text("mst1")});
    maker.leave(0, 6'000);
    maker.leave(0, 7'250);
    maker.enter(0, 8'000, {writing, syncer, 0x2000, status, {}, 259, {}});
    maker.leave(0, 9'000);
    maker.leave(0, 12'000);
    maker.leave(0, 13'000);

    maker.enter(1, 5'000,
                {reaction, counter, 0x5000, mst, text("a-name-that-is-longer-than-22\n"), 258,
                 number(et1)});
    maker.leave(1, 5'000);

    const Block update{reaction, portSyncer, 0x3000, port, number(et1), 259, number(100)};
    maker.enter(0, 20'000, update);
    Block handlingUpdate = update;
    handlingUpdate.kind = handler;
    handlingUpdate.message = handleUpdate;
    maker.enter(0, 21'000, handlingUpdate);
    maker.enter(0, 22'000, {writing, portSyncer, 0x4000, port, number(et1), 259, number(100)});
    maker.leave(0, 24'000);
    maker.enter(0, 25'000, {handler, 0, 0x4000, port, number(et1), 259, number(4094)});
    maker.leave(0, 26'000);
    return maker;
}

} // namespace TraceTool::Test
