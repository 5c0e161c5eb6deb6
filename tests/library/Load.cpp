// A program that is not linked with the library loads it by its path, finds its functions by the
// names that compilers make of them, calls it, and lets it go; twice.
//
//   Load LIBRARY

#include "platform/interface/IntfLoggingMode.h"

#include <cstdio>

#include <dlfcn.h>

namespace {

bool loadAndCall(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        std::fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    bool found = true;
    const auto function = [&](const char* name) {
        void* address = dlsym(library, name);
        if (!address) {
            std::fprintf(stderr, "%s\n", dlerror());
            found = false;
        }
        return address;
    };
    using Interface::IntfLoggingMode;
    using Decision = bool (*)(IntfLoggingMode, IntfLoggingMode);
    // logSpanTreeIntf(Interface::IntfLoggingMode, Interface::IntfLoggingMode)
    const auto logSpanTreeIntf = reinterpret_cast<Decision>(
        function("_ZN6Varnol15logSpanTreeIntfEN9Interface15IntfLoggingModeES1_"));
    // VarnolGetPkt(Bridging::VlanIdOrNone, Kolvu::EthAddr, unsigned, Stp::CommonBpdu**)
    function(
        "_ZN6Varnol12VarnolGetPktEN8Bridging12VlanIdOrNoneEN5Kolvu7EthAddrEjPPN3Stp10CommonBpduE");
    // VarnolGetPvstPkt(Stp::MstPortSm*, unsigned, Stp::CommonBpdu**, Bridging::VlanIdOrNone)
    function("_ZN6Varnol16VarnolGetPvstPktEPN3Stp9MstPortSmEjPPNS0_"
             "10CommonBpduEN8Bridging12VlanIdOrNoneE");
    // generatePktFromIntxInfo(Zel::Ptr<Stp::MstPortSm>, Zel::Ptr<Varnol::IntxInfo>, bool)
    function(
        "_ZN6Varnol23generatePktFromIntxInfoEN3Zel3PtrIN3Stp9MstPortSmEEENS1_INS_8IntxInfoEEEb");
    // mstBpdufilterPkt(Zel::Ptr<Stp::PortConfig const>, Zel::Ptr<Stp::StpiPortStatus const>,
    //                  Zel::Ptr<Stp::Config const>)
    function("_ZN6Varnol16mstBpdufilterPktEN3Zel3PtrIKN3Stp10PortConfigEEENS1_IKNS2_"
             "14StpiPortStatusEEENS1_IKNS2_6ConfigEEE");
    // bridgePriority(Stp::CompressedBridgePriority), portPriority(Stp::CompressedPortPriority)
    function("_ZN6Varnol14bridgePriorityEN3Stp24CompressedBridgePriorityE");
    function("_ZN6Varnol12portPriorityEN3Stp22CompressedPortPriorityE");

    using enum IntfLoggingMode;
    const bool works = found && logSpanTreeIntf(on, useDefault) && logSpanTreeIntf(off, on) &&
                       !logSpanTreeIntf(off, useDefault);
    if (dlclose(library) != 0) {
        std::fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    return works;
}

} // namespace

int main(int, char** arguments) {
    return loadAndCall(arguments[1]) && loadAndCall(arguments[1]) ? 0 : 1;
}
