#include "verify/MemoryCallers.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <link.h>
#include <unwind.h>

void Functions::read(char const* file) {
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* base) {
            *static_cast<std::uintptr_t*>(base) = info->dlpi_addr;
            return 1; // the first is the program
        },
        &base_);
    std::ifstream in(file);
    std::string owner;
    std::uintptr_t begin, end;
    while (in >> std::hex >> begin >> end >> owner)
        all_.push_back({base_ + begin, base_ + end,
                        owner == "library" ? Owner::library
                        : owner == "test"  ? Owner::test
                                           : Owner::through});
    std::ranges::sort(all_, {}, &Function::begin);
}

Functions::Owner Functions::at(std::uintptr_t address) const noexcept {
    const auto after = std::ranges::upper_bound(all_, address, {}, &Function::begin);
    return after == all_.begin() || address >= after[-1].end ? Owner::through : after[-1].owner;
}

Zel::U64 Chain::hash() const noexcept {
    Zel::U64 hash = 0xcbf29ce484222325;
    for (const std::uintptr_t caller : callers)
        hash = (hash ^ caller) * 0x100000001b3;
    return hash;
}

namespace {

struct Callers {
    Functions const& functions;
    std::size_t wanted;
    Chain chain;

    _Unwind_Reason_Code see(_Unwind_Context* context) {
        const std::uintptr_t address = _Unwind_GetIP(context);
        const Functions::Owner owner = functions.at(address - 1);
        if (owner == Functions::Owner::test)
            return _URC_END_OF_STACK;
        if (owner == Functions::Owner::library || chain.known != 0)
            chain.callers[chain.known++] = address;
        return chain.known == wanted ? _URC_END_OF_STACK : _URC_NO_REASON;
    }
};

/// Looks for the function from which an exception does not get out.
struct Ending {
    Functions const& functions;
    std::uintptr_t frame; // 0 when nothing is known of it
    std::uintptr_t place = 0;
    bool isUnwinding = false, isPast = false;

    static bool unwinds(std::uintptr_t address) noexcept {
        Dl_info info;
        return ::dladdr(reinterpret_cast<void*>(address - 1), &info) != 0 && info.dli_fname &&
               std::string_view(info.dli_fname).find("libgcc_s") != std::string_view::npos;
    }

    _Unwind_Reason_Code see(_Unwind_Context* context) {
        const std::uintptr_t address = _Unwind_GetIP(context);
        // Where a function itself ends the program, the unwinder does not lie between.
        isUnwinding = isUnwinding || unwinds(address);
        isPast = isPast || (isUnwinding && _Unwind_GetCFA(context) == frame);
        if ((isUnwinding && !isPast) || functions.at(address - 1) == Functions::Owner::through)
            return _URC_NO_REASON;
        place = address;
        return _URC_END_OF_STACK;
    }
};

template <class Seer> void walk(Seer& seer) noexcept {
    _Unwind_Backtrace(
        [](_Unwind_Context* context, void* data) { return static_cast<Seer*>(data)->see(context); },
        &seer);
}

} // namespace

Chain chainOfCallers(Functions const& functions, std::size_t wanted) noexcept {
    Callers callers{functions, wanted, {}};
    walk(callers);
    return callers.chain;
}

std::uintptr_t placeOfEnd(Functions const& functions) noexcept {
    // An exception's header lies before it; the unwinder notes there the frame at which it stops.
    std::uintptr_t frame = 0;
    if (const std::exception_ptr exception = std::current_exception()) {
        void* thrown = nullptr;
        static_assert(sizeof thrown == sizeof exception);
        std::copy_n(reinterpret_cast<char const*>(&exception), sizeof thrown,
                    reinterpret_cast<char*>(&thrown));
        frame = (static_cast<_Unwind_Exception*>(thrown) - 1)->private_2;
    }
    Ending ending{functions, frame};
    walk(ending);
    return ending.place;
}
