#pragma once

#include "framework/fennic/TraceFormat.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

/// Reads a binary trace out of memory that nobody writes meanwhile, trusting nothing in it.
class TraceReader {
  public:
    struct Message {
        std::string text;
        std::string sourceFileName;
        unsigned line;
        Fennic::DescriptorKind kind;
    };

    /// Throws std::runtime_error for what is not a whole trace.
    explicit TraceReader(std::span<const std::byte> memory)
        : memory_(memory)
        , header_(at<Fennic::FileHeader>(0)) {
        using Fennic::FileHeader;
        require(std::ranges::equal(header_.magic, FileHeader::magicText), "magic");
        require(header_.orderMark == FileHeader::orderMarkValue, "order mark");
        require(header_.version == FileHeader::currentVersion, "version");
        require(header_.headerSize >= sizeof(FileHeader), "header size");
        require(header_.memorySize == memory.size(), "memory size");
        require(header_.ringOffset >= header_.descriptorsOffset + header_.descriptorsSize,
                "the ring overlaps the descriptors");
        require(header_.recordSize >= sizeof(Fennic::BlockRecord), "record size");
        require(header_.ringOffset + header_.ringCapacity * header_.recordSize <= memory.size(),
                "the ring leaves the memory");
        require(header_.lanesOffset >= header_.headerSize, "the lanes overlap the header");
        require(header_.descriptorsOffset >=
                    header_.lanesOffset + header_.laneCount * header_.laneSize,
                "the descriptors overlap the lanes");
        require(header_.chunkSize != 0 && header_.ringCapacity % header_.chunkSize == 0,
                "chunk size");
        readMessages();
        readLanes();
        readRecords();
    }

    Fennic::FileHeader const& header() const { return header_; }

    /// By identifier.
    std::vector<Message> const& messages() const { return messages_; }

    /// The valid records, sorted by sequence.
    std::vector<Fennic::BlockRecord> const& records() const { return records_; }

    std::string const& text(Fennic::BlockRecord const& record) const {
        return messages_.at(record.messageId).text;
    }

    /// The frames of a lane's open blocks, the outermost first.
    std::vector<Fennic::BlockRecord> open(std::size_t lane = 0) const {
        return {lanes_.at(lane).open};
    }
    Fennic::LaneHeader const& lane(std::size_t lane = 0) const { return lanes_.at(lane).header; }

    /// How many records have been written, also those that others have replaced.
    Fennic::U64 recorded() const {
        Fennic::U64 count = 0;
        for (Lane const& lane : lanes_)
            count += lane.header.recordCount;
        return count;
    }

    /// The texts of all records, in their order.
    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (Fennic::BlockRecord const& record : records_)
            texts.push_back(text(record));
        return texts;
    }

  private:
    static void require(bool holds, const char* what) {
        if (!holds)
            throw std::runtime_error(what);
    }

    template <class T> T at(std::size_t offset) const {
        require(offset <= memory_.size() && sizeof(T) <= memory_.size() - offset, "truncated");
        T value;
        std::memcpy(&value, memory_.data() + offset, sizeof value);
        return value;
    }

    std::string textAt(std::size_t offset, std::size_t size) const {
        require(offset <= memory_.size() && size <= memory_.size() - offset, "truncated text");
        return {reinterpret_cast<const char*>(memory_.data()) + offset, size};
    }

    void readMessages() {
        std::size_t offset = header_.descriptorsOffset;
        for (Fennic::U32 id = 0; id < header_.descriptorCount; ++id) {
            const auto descriptor = at<Fennic::Descriptor>(offset);
            const std::size_t text = offset + sizeof descriptor;
            require(descriptor.messageId == id, "message identifier");
            require(descriptor.size % 8 == 0, "descriptor size");
            require(descriptor.size >=
                        sizeof descriptor + descriptor.textSize + descriptor.sourceFileSize,
                    "descriptor texts");
            messages_.push_back({textAt(text, descriptor.textSize),
                                 textAt(text + descriptor.textSize, descriptor.sourceFileSize),
                                 descriptor.line, descriptor.kind});
            offset += descriptor.size;
        }
        require(offset <= header_.descriptorsOffset + header_.descriptorsSize,
                "the descriptors leave their room");
    }

    void readLanes() {
        using namespace Fennic;
        for (U32 index = 0; index < header_.laneCount; ++index) {
            std::size_t offset = header_.lanesOffset + index * header_.laneSize;
            Lane lane{at<LaneHeader>(offset), {}};
            offset += sizeof(LaneHeader);
            const U64 kept = std::min<U64>(lane.header.depth, header_.framesPerLane);
            for (U64 depth = 0; depth < kept; ++depth, offset += header_.recordSize) {
                lane.open.push_back(at<BlockRecord>(offset));
                require(lane.open.back().depth == depth, "a frame's depth");
                require(lane.open.back().lane == index, "a frame's lane");
                require(lane.open.back().end == 0, "the end of an open block");
            }
            lanes_.push_back(std::move(lane));
        }
    }

    void readRecords() {
        for (std::size_t place = 0; place < header_.ringCapacity; ++place) {
            const auto record =
                at<Fennic::BlockRecord>(header_.ringOffset + place * header_.recordSize);
            if (record.sequence == 0 || (record.sequence & Fennic::BlockRecord::beingWritten) != 0)
                continue;
            require((record.sequence - 1) % header_.ringCapacity == place, "a record's place");
            require(record.sequence < header_.nextSequence, "a record's sequence");
            records_.push_back(record);
        }
        std::ranges::sort(records_, {}, &Fennic::BlockRecord::sequence);
    }

    struct Lane {
        Fennic::LaneHeader header;
        std::vector<Fennic::BlockRecord> open;
    };

    std::span<const std::byte> memory_;
    Fennic::FileHeader header_;
    std::vector<Message> messages_;
    std::vector<Lane> lanes_;
    std::vector<Fennic::BlockRecord> records_;
};
