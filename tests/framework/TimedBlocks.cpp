#include "tests/framework/TimedBlocks.h"

#include "framework/fennic/TraceFile.h"
#include "tests/framework/TraceReader.h"

#include <gtest/gtest.h>

TimedBlocks timedBlocks(std::string_view sourceFileName, std::function<void()> const& action) {
    std::vector<Zel::U64> memory(8192);
    const std::span<std::byte> octets = std::as_writable_bytes(std::span(memory));
    Fennic::defaultTraceFile().memoryIs(octets);
    action();
    Fennic::defaultTraceFile().memoryIs({});
    const TraceReader reader(octets);
    TimedBlocks blocks;
    for (Fennic::BlockRecord const& record : reader.records()) {
        if (record.kind != Fennic::BlockKind::handler)
            continue;
        auto const& [text, file, line, kind] = reader.messages().at(record.messageId);
        EXPECT_EQ(file, sourceFileName) << text;
        EXPECT_GT(line, 0U) << text;
        const std::string end = "():" + std::to_string(line);
        EXPECT_TRUE(text.ends_with(end)) << text;
        blocks.names.push_back(text.substr(0, text.size() - end.size()));
        blocks.messageIds.push_back(record.messageId);
    }
    return blocks;
}
