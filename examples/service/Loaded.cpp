/// loaded [LIBRARY]
///
/// A program that is not linked with the library loads it while it runs, looks for what it is going
/// to use, and calls some of it.
///
/// The library is C++. A function's name in it is the mangled one, which g++ and clang make alike
/// (the Itanium C++ ABI) from namespace, name and the types of the arguments:
///
///     nm -D --defined-only libVarnol.so.0 | tee names   the names to look for
///     c++filt <names                                    what they stand for
///
/// That means:
/// - A function whose arguments change gets another name. Where a program looks for the old one,
///   dlsym() says that it is not there; it does not call the new one with the wrong arguments.
/// - The type of the result is not part of the name, nor is anything that a class has inside. The
///   number in libVarnol.so.0 stands for these: it changes when programs must be compiled anew.
/// - Nothing checks the type that the address is cast to. It is taken from the header, below.
///
/// What inline code of the headers calls is looked for by the linker, not by dlsym(): counted
/// pointers, and with them what the factories take and return, are only for what is linked with the
/// library. A program that loads its parts has these in a module of its own, linked with the
/// library, with entry points that are extern "C"; loading the module loads the library.
///
/// Exit status: 0 all is there; 1 something is not.

#include "bpdu/VarnolUtils.h"

#include <cstdio>

#include <dlfcn.h>

namespace {

/// As nm shows them; for c++filt the first is
/// Varnol::txStatusToTxSyncerFactory(Zel::Ptr<Varnol::TxStatus const>, Zel::Ptr<Varnol::TxStatus>).
constexpr const char* factories[] = {
    "_ZN6Varnol25txStatusToTxSyncerFactoryEN3Zel3PtrIKNS_8TxStatusEEENS1_IS2_EE",
    "_ZN6Varnol25txStatusToRxSyncerFactoryERKN3Zel3PtrIKNS_8TxStatusEEERKNS1_INS_8RxStatusEEE",
    "_ZN6Varnol32rxStatusToRxDynamicSyncerFactoryERKN3Zel3PtrIKNS_8RxStatusEEERKNS1_IS2_EE",
    "_ZN6Varnol35rxMstStatusToRxDynamicSyncerFactoryEN3Zel4NameERKNS0_3PtrIKNS_11RxMstStatusEEERK"
    "NS2_INS_8RxStatusEEE",
    "_ZN6Varnol39rxMstPortStatusToRxDynamicSyncerFactoryEN3Zel4NameEN5Kolvu6IntfIdERKNS0_3PtrIKNS_"
    "15RxMstPortStatusEEERKNS4_INS_8RxStatusEEE",
    "_ZN6Varnol21intxInfoSyncerFactoryEN3Zel3PtrIKNS_8IntxInfoEEENS1_IS2_EEN8Bridging12VlanIdOr"
    "NoneENS0_6StringE",
    "_ZN6Varnol23intxInfoChangeSmFactoryERKN3Zel3PtrIKNS_8IntxInfoEEEN8Bridging12VlanIdOrNoneE",
};

int failed() {
    std::fprintf(stderr, "loaded: %s\n", dlerror());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    // RTLD_NOW: what the library itself needs is found here, or loading fails.
    void* const library = dlopen(argc > 1 ? argv[1] : "libVarnol.so.0", RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return failed();

    int found = 0;
    for (const char* name : factories) {
        if (!dlsym(library, name))
            return failed();
        ++found;
    }
    std::printf("%d factories are there\n", found);

    // What takes and returns plain values can be called. decltype does not use the function: the
    // program is linked without it.
    const auto bridgePriority = reinterpret_cast<decltype(&Varnol::bridgePriority)>(
        dlsym(library, "_ZN6Varnol14bridgePriorityEN3Stp24CompressedBridgePriorityE"));
    if (!bridgePriority)
        return failed();
    std::printf("bridge priority %u\n", unsigned{bridgePriority(8)});

    // The same function with another argument is another name.
    std::printf("bridgePriority(unsigned) is %s\n",
                dlsym(library, "_ZN6Varnol14bridgePriorityEj") ? "there" : "not there");
    return dlclose(library) == 0 ? 0 : failed();
}
