#include "framework/zel/TraceLine.h"

#include "framework/zel/LineWriter.h"
#include "framework/zel/Printable.h"

#include <cstdio>

#include <unistd.h>

namespace Zel {
namespace {

constinit LineWriter stderrWriter;

void appendTime(std::string& to, std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto exact = floor<microseconds>(time);
    const auto midnight = floor<days>(exact);
    const year_month_day date(midnight);
    const hh_mm_ss clock(exact - midnight);
    char text[80];
    std::snprintf(
        text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    to += text;
}

template <bool time, bool place> void toStderr(TraceRecord const& record, void*) {
    stderrWriter(STDERR_FILENO, traceLine(record, {.time = time, .place = place},
                                          std::chrono::system_clock::now()));
}

} // namespace

std::string traceLine(TraceRecord const& record, TraceLineFormat format,
                      std::chrono::system_clock::time_point time) {
    std::string line;
    if (format.time) {
        appendTime(line, time);
        line += ' ';
    }
    line.append(record.handle).append("/").append(std::to_string(record.level));
    if (format.place) {
        line.append(" ").append(record.file).append(":").append(std::to_string(record.line));
        line.append(" ").append(record.function);
    }
    line += ": ";
    appendPrintable(line, record.text);
    return line;
}

void traceToStderr(TraceRecord const& record, void* context) {
    toStderr<false, true>(record, context);
}

TraceSink traceStderrSink(TraceLineFormat format) noexcept {
    if (format.time)
        return {format.place ? &toStderr<true, true> : &toStderr<true, false>, nullptr};
    return {format.place ? &traceToStderr : &toStderr<false, false>, nullptr};
}

} // namespace Zel
