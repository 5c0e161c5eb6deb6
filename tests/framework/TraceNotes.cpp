#include "tests/framework/TraceNotes.h"

#include <gtest/gtest.h>

TraceNotes::TraceNotes(std::string_view handle, std::vector<std::string>& notes)
    : handle_(handle)
    , notes_(notes)
    , levels_(handle, allTraceLevels)
    , former_(Zel::traceSinkIs({&take, this})) {}

TraceNotes::~TraceNotes() { Zel::traceSinkIs(former_); }

void TraceNotes::take(Zel::TraceRecord const& record, void* context) {
    auto& self = *static_cast<TraceNotes*>(context);
    EXPECT_EQ(record.handle, self.handle_);
    EXPECT_EQ(record.file, self.handle_ + ".cpp");
    EXPECT_GT(record.line, 0U);
    self.notes_.push_back(std::to_string(record.level) + " " + std::string(record.function) + ": " +
                          std::string(record.text));
}
