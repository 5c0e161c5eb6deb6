#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/TraceLine.h"

#include <memory>
#include <string>

namespace Zel {

/// A sink that writes each trace as a line to the end of a file:
///
///     Zel::TraceFileSink file("/var/log/stp.trace");
///     Zel::traceSinkIs(file.sink());
///
/// It owns the open file, not the file's name: the file stays. A line is given to the system with
/// one write(2) and not flushed to the medium; a trace whose line the system does not take whole
/// counts as lost, see tracesLost(). Every function may be called from any thread.
class VARNOL_API TraceFileSink {
  public:
    /// Opens the file for appending, closed when the process executes another; makes it with mode
    /// 0640, less the process's umask, where there is none. A medium that others have to read
    /// from, as a pipe, is not waited for.
    /// Throws std::system_error, whose text has the path, when it cannot be opened.
    explicit TraceFileSink(std::string path, TraceLineFormat format = {.time = true});
    TraceFileSink(TraceFileSink const&) = delete;
    TraceFileSink& operator=(TraceFileSink const&) = delete;
    /// The default sink takes its place, if it is the one in use. Nobody may put it in use again.
    ~TraceFileSink();

    /// To be given to traceSinkIs().
    TraceSink sink() noexcept;

    /// As it was given; the file may have been moved away since.
    std::string const& path() const noexcept;

    /// Opens the path anew, as the constructor does, after the file was moved away; the former file
    /// is closed. Throws as the constructor, and then goes on writing to the former file.
    void reopen();

  private:
    class State;
    std::unique_ptr<State> state_;
};

} // namespace Zel
