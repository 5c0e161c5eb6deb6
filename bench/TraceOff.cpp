#include "bench/Rows.h"
#include "framework/zel/Trace.h"

#include <sstream>

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

/// trace_off: a trace statement whose level is off. What comes of it is the text that is written:
/// none.
namespace Bench {
namespace {

class Library {
  public:
    Library() { Zel::traceSinkIs({&write, this}); }
    ~Library() { Zel::traceSinkIs({}); }
    Library(Library const&) = delete;
    Library& operator=(Library const&) = delete;
    void operator()(unsigned i) {
        benchmark::DoNotOptimize(i);
        Zel::trace(handle_, 8, [i](Zel::TraceStream& out) { out << "setting vlan=" << i; });
    }
    std::string result() const { return written_; }

  private:
    static void write(Zel::TraceRecord const& record, void* context) {
        static_cast<Library*>(context)->written_ += record.text;
    }

    Zel::TraceHandle handle_{"bench", false};
    std::string written_;
};

/// An empty loop.
class Nothing {
  public:
    void operator()(unsigned i) { benchmark::DoNotOptimize(i); }
    std::string result() const { return {}; }
};

class Spdlog {
  public:
    Spdlog() { logger_->set_level(spdlog::level::off); }
    void operator()(unsigned i) {
        benchmark::DoNotOptimize(i);
        logger_->trace("setting vlan={}", i);
    }
    std::string result() const { return written_->str(); }

  private:
    std::unique_ptr<std::ostringstream> written_ = std::make_unique<std::ostringstream>();
    std::shared_ptr<spdlog::logger> logger_ = std::make_shared<spdlog::logger>(
        "bench", std::make_shared<spdlog::sinks::ostream_sink_st>(*written_));
};

} // namespace

void traceOff(Rows& rows) {
    rows.add<Library>("varnol/trace_off");
    rows.add<Nothing>("floor/trace_off");
    rows.add<Spdlog>("peer/spdlog/trace_off");
}

} // namespace Bench
