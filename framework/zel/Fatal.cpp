#include "framework/zel/Fatal.h"

#include <cstdlib>

#include <sys/uio.h>
#include <unistd.h>

// The C library's own; its header declares it only where assertions are compiled in.
extern "C" [[noreturn]] void __assert_fail(const char* expression, const char* file,
                                           unsigned int line, const char* function) noexcept;

namespace Zel {
namespace {

iovec piece(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

} // namespace

void fatal(std::string_view text) noexcept {
    const iovec line[] = {piece("Varnol: fatal: "), piece(text), piece("\n")};
    [[maybe_unused]] const auto written = ::writev(STDERR_FILENO, line, 3);
    std::abort();
}

void assertionFailed(const char* expression, const char* function, const char* file,
                     unsigned line) noexcept {
    __assert_fail(expression, file, line, function);
}

} // namespace Zel
