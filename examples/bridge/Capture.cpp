#include "examples/bridge/Capture.h"

#include <pcap/pcap.h>

#include <memory>
#include <stdexcept>

namespace Examples {
namespace {

using Pcap = std::unique_ptr<pcap_t, decltype(&pcap_close)>;
using Dumper = std::unique_ptr<pcap_dumper_t, decltype(&pcap_dump_close)>;

/// The longest frame that a capture holds, in octets; tcpdump's own limit.
constexpr int snapshotOctets = 262144;

[[noreturn]] void fail(std::filesystem::path const& file, const char* reason) {
    throw std::runtime_error(file.string() + ": " + reason);
}

} // namespace

void writeCapture(std::filesystem::path const& file, std::span<Frame const> frames) {
    const Pcap pcap(pcap_open_dead(DLT_EN10MB, snapshotOctets), &pcap_close);
    if (!pcap)
        throw std::bad_alloc();
    const Dumper dumper(pcap_dump_open(pcap.get(), file.c_str()), &pcap_dump_close);
    if (!dumper)
        throw std::runtime_error(pcap_geterr(pcap.get())); // begins with the file's name
    for (Frame const& frame : frames) {
        pcap_pkthdr header{};
        header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
        pcap_dump(reinterpret_cast<u_char*>(dumper.get()), &header, frame.data());
    }
    if (pcap_dump_flush(dumper.get()) != 0 || std::ferror(pcap_dump_file(dumper.get())) != 0)
        fail(file, "cannot be written to its end");
}

std::vector<Frame> readCapture(std::filesystem::path const& file) {
    char reason[PCAP_ERRBUF_SIZE];
    const Pcap pcap(pcap_open_offline(file.c_str(), reason), &pcap_close);
    if (!pcap)
        fail(file, reason);
    if (pcap_datalink(pcap.get()) != DLT_EN10MB)
        fail(file, "is no capture of Ethernet frames");
    std::vector<Frame> frames;
    pcap_pkthdr* header = nullptr;
    const u_char* octets = nullptr;
    int read;
    while ((read = pcap_next_ex(pcap.get(), &header, &octets)) == 1)
        frames.emplace_back(octets, octets + header->caplen);
    if (read != PCAP_ERROR_BREAK) // the end of the file
        fail(file, pcap_geterr(pcap.get()));
    return frames;
}

} // namespace Examples
