#pragma once

#include "framework/zel/Trace.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::initializer_list<unsigned> allTraceLevels{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};

/// Switches levels of a trace handle on and keeps what is traced, instead of the sink in use. Puts
/// the former levels and sink back at its end; captures end in the reverse order of their
/// beginning. What is captured is to be read while no other thread traces.
class TraceCapture {
  public:
    struct Record {
        std::string text;
        std::string file;
        unsigned line;
        std::string function;
        std::string handle;
        unsigned level;
    };

    TraceCapture(std::string_view handle, std::initializer_list<unsigned> levels) {
        levelsOn(handle, levels);
        former_ = Zel::traceSinkIs({&take, this});
    }
    TraceCapture(TraceCapture const&) = delete;
    TraceCapture& operator=(TraceCapture const&) = delete;
    ~TraceCapture() {
        Zel::traceSinkIs(former_);
        for (auto level = levels_.rbegin(); level != levels_.rend(); ++level)
            Zel::traceLevelIs(level->handle, level->level, level->wasOn);
    }

    /// Switches levels of a further handle on.
    void levelsOn(std::string_view handle, std::initializer_list<unsigned> levels) {
        for (unsigned level : levels) {
            levels_.push_back({std::string(handle), level, Zel::traceLevel(handle, level)});
            Zel::traceLevelIs(handle, level, true);
        }
    }

    std::vector<Record> const& records() const { return records_; }

    /// The texts of all records, in their order.
    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (Record const& record : records_)
            texts.push_back(record.text);
        return texts;
    }

    void clear() { records_.clear(); }

  private:
    struct Level {
        std::string handle;
        unsigned level;
        bool wasOn;
    };

    static void take(Zel::TraceRecord const& record, void* context) {
        static_cast<TraceCapture*>(context)->records_.push_back(
            {std::string(record.text), std::string(record.file), record.line,
             std::string(record.function), std::string(record.handle), record.level});
    }

    std::vector<Record> records_;
    std::vector<Level> levels_;
    Zel::TraceSink former_;
};
