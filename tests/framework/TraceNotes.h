#pragma once

#include "tests/framework/TraceCapture.h"

#include <string>
#include <string_view>
#include <vector>

/// While it lives, what one source file traces, at any level, is noted as "8 function: text". The
/// notes may be among notes of other events, which then have their place between the traces. Traces
/// of any other file fail the test.
class TraceNotes {
  public:
    /// @param handle  the file's handle, named as the file but for its ending
    /// @param notes   must outlive the object
    TraceNotes(std::string_view handle, std::vector<std::string>& notes);
    TraceNotes(TraceNotes const&) = delete;
    TraceNotes& operator=(TraceNotes const&) = delete;
    ~TraceNotes();

  private:
    static void take(Zel::TraceRecord const& record, void* context);

    std::string handle_;
    std::vector<std::string>& notes_;
    TraceCapture levels_;
    Zel::TraceSink former_;
};
