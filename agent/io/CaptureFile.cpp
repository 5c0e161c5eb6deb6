#include "agent/io/CaptureFile.h"

#include <pcap/pcap.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace Agent {
namespace {

/// The longest frame that a capture holds, in octets; tcpdump's own limit.
constexpr int snapshotOctets = 262144;

/// Some three thousand years from 1970; a file may hold times that no type for them does.
constexpr long latestSecond = 100'000'000'000;

using Pcap = std::unique_ptr<pcap_t, decltype(&pcap_close)>;
using Dumper = std::unique_ptr<pcap_dumper_t, decltype(&pcap_dump_close)>;

} // namespace

struct CaptureReader::State {
    std::filesystem::path file;
    Pcap pcap;
};

CaptureReader::CaptureReader(std::filesystem::path const& file) {
    char reason[PCAP_ERRBUF_SIZE];
    Pcap pcap(pcap_open_offline(file.c_str(), reason), &pcap_close);
    if (!pcap)
        throw std::runtime_error(std::string(reason).starts_with(file.string())
                                     ? reason
                                     : file.string() + ": " + reason);
    if (pcap_datalink(pcap.get()) != DLT_EN10MB)
        throw std::runtime_error(file.string() + ": is no capture of Ethernet frames");
    state_ = std::make_unique<State>(State{file, std::move(pcap)});
}

CaptureReader::~CaptureReader() = default;

std::optional<CaptureReader::Frame> CaptureReader::next() {
    pcap_pkthdr* header = nullptr;
    const u_char* octets = nullptr;
    const int read = pcap_next_ex(state_->pcap.get(), &header, &octets);
    if (read == PCAP_ERROR_BREAK) // the end of the file
        return std::nullopt;
    if (read != 1)
        throw std::runtime_error(state_->file.string() + ": " + pcap_geterr(state_->pcap.get()));
    if (std::abs(header->ts.tv_sec) > latestSecond)
        throw std::runtime_error(state_->file.string() + ": a frame's time is out of all reason");
    return Frame{std::chrono::seconds(header->ts.tv_sec) + Time(header->ts.tv_usec),
                 {octets, octets + header->caplen}};
}

struct CaptureWriter::State {
    std::filesystem::path file;
    Time begin;
    Pcap pcap;
    Dumper dumper;
    bool failed = false;
};

CaptureWriter::CaptureWriter(std::filesystem::path const& file, Time begin) {
    Pcap pcap(pcap_open_dead(DLT_EN10MB, snapshotOctets), &pcap_close);
    if (!pcap)
        throw std::bad_alloc();
    Dumper dumper(pcap_dump_open(pcap.get(), file.c_str()), &pcap_dump_close);
    if (!dumper)
        throw std::runtime_error(pcap_geterr(pcap.get())); // begins with the file's name
    if (pcap_dump_flush(dumper.get()) != 0)
        throw std::runtime_error(file.string() + ": cannot be written");
    state_ = std::make_unique<State>(State{file, begin, std::move(pcap), std::move(dumper)});
}

CaptureWriter::~CaptureWriter() = default;

void CaptureWriter::write(Time at, std::span<Zel::U8 const> frame) {
    if (state_->failed)
        return;
    const Time time = state_->begin + at;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    pcap_pkthdr header{};
    header.ts.tv_sec = static_cast<decltype(header.ts.tv_sec)>(seconds.count());
    header.ts.tv_usec = static_cast<decltype(header.ts.tv_usec)>((time - seconds).count());
    header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
    pcap_dump(reinterpret_cast<u_char*>(state_->dumper.get()), &header, frame.data());
    if (pcap_dump_flush(state_->dumper.get()) != 0 ||
        std::ferror(pcap_dump_file(state_->dumper.get())) != 0) {
        state_->failed = true;
        throw std::runtime_error(state_->file.string() + ": cannot be written to its end");
    }
}

} // namespace Agent
