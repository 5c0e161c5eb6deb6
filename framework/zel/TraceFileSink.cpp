#include "framework/zel/TraceFileSink.h"

#include "framework/zel/LineWriter.h"
#include "framework/zel/Printable.h"

#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Zel {
namespace {

[[noreturn]] void cannotBeOpened(std::string const& path, int error) {
    std::string what = "trace file ";
    appendPrintable(what, path);
    throw std::system_error(error, std::generic_category(), what);
}

int opened(std::string const& path) {
    if (path.find('\0') != path.npos)
        cannotBeOpened(path, EINVAL);
    for (;;) {
        const int descriptor = ::open(
            path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640);
        if (descriptor >= 0)
            return descriptor;
        if (errno != EINTR)
            cannotBeOpened(path, errno);
    }
}

} // namespace

class TraceFileSink::State {
  public:
    State(std::string path, TraceLineFormat format)
        : path_(std::move(path))
        , format_(format)
        , descriptor_(opened(path_)) {}
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State() { ::close(descriptor_); }

    std::string const& path() const noexcept { return path_; }

    static void take(TraceRecord const& record, void* context) {
        static_cast<State*>(context)->write(record);
    }

    void write(TraceRecord const& record) {
        const std::lock_guard lock(mutex_);
        writer_(descriptor_, traceLine(record, format_, std::chrono::system_clock::now()));
    }

    void reopen() {
        const int next = opened(path_);
        const std::lock_guard lock(mutex_);
        writer_.endLine(descriptor_);
        writer_.fileIsNew();
        ::close(std::exchange(descriptor_, next));
    }

  private:
    const std::string path_;
    const TraceLineFormat format_;
    std::mutex mutex_; // for all below
    int descriptor_;
    LineWriter writer_;
};

TraceFileSink::TraceFileSink(std::string path, TraceLineFormat format)
    : state_(std::make_unique<State>(std::move(path), format)) {}

TraceFileSink::~TraceFileSink() { traceSinkDel(sink()); }

TraceSink TraceFileSink::sink() noexcept { return {&State::take, state_.get()}; }

std::string const& TraceFileSink::path() const noexcept { return state_->path(); }

void TraceFileSink::reopen() { state_->reopen(); }

} // namespace Zel
