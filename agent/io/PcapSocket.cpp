#include "agent/io/PacketSocket.h"

#include <net/if.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace Agent {
namespace {

/// Longer than any BPDU, IEEE 802.3 3.2.7.
constexpr int snapshotOctets = 2048;
/// Holds some hundred frames.
constexpr int bufferOctets = 1 << 20;

using Pcap = std::unique_ptr<pcap_t, decltype(&pcap_close)>;

class PcapSocket final : public PacketSocket {
  public:
    explicit PcapSocket(std::string const& interface)
        : interface_(interface)
        , pcap_(create(interface), &pcap_close) {
        check(pcap_set_snaplen(pcap_.get(), snapshotOctets));
        check(pcap_set_buffer_size(pcap_.get(), bufferOctets));
        check(pcap_set_immediate_mode(pcap_.get(), 1));
        check(pcap_set_promisc(pcap_.get(), 1)); // the group address is nobody's
        char reason[PCAP_ERRBUF_SIZE];
        if (const int status = pcap_activate(pcap_.get()); status < 0)
            fail(status == PCAP_ERROR_PERM_DENIED
                     ? "not permitted; it takes root or the capability CAP_NET_RAW"
                 : pcap_geterr(pcap_.get())[0] ? pcap_geterr(pcap_.get())
                                               : pcap_statustostr(status));
        if (pcap_datalink(pcap_.get()) != DLT_EN10MB)
            fail("is no Ethernet interface");
        check(pcap_setdirection(pcap_.get(), PCAP_D_IN));
        bpf_program filter;
        check(pcap_compile(pcap_.get(), &filter, "ether dst 01:80:c2:00:00:00", 1,
                           PCAP_NETMASK_UNKNOWN));
        const int set = pcap_setfilter(pcap_.get(), &filter);
        pcap_freecode(&filter);
        check(set);
        if (pcap_setnonblock(pcap_.get(), 1, reason) != 0)
            fail(reason);
    }

    int descriptor() const override { return pcap_get_selectable_fd(pcap_.get()); }

    int receive(std::span<Zel::U8 const>& frame) override {
        pcap_pkthdr* header = nullptr;
        const u_char* octets = nullptr;
        const int read = pcap_next_ex(pcap_.get(), &header, &octets);
        if (read == 1) {
            frame = {octets, header->caplen};
            return 0;
        }
        // libpcap tells errors in words only.
        return read == 0 ? EAGAIN : if_nametoindex(interface_.c_str()) == 0 ? ENXIO : EIO;
    }

    int send(std::span<Zel::U8 const> frame) override {
        errno = 0;
        const int sent = pcap_inject(pcap_.get(), frame.data(), frame.size());
        if (sent >= 0)
            return static_cast<std::size_t>(sent) == frame.size() ? 0 : EMSGSIZE;
        return errno != 0 ? errno : EIO;
    }

    Zel::U64 missed() override {
        pcap_stat stat{};
        if (pcap_stats(pcap_.get(), &stat) == 0)
            missed_ += static_cast<Zel::U32>(stat.ps_drop - std::exchange(lastDrop_, stat.ps_drop));
        return missed_;
    }

  private:
    static pcap_t* create(std::string const& interface) {
        char reason[PCAP_ERRBUF_SIZE];
        pcap_t* pcap = pcap_create(interface.c_str(), reason);
        if (!pcap)
            throw std::runtime_error(interface + ": " + reason);
        return pcap;
    }
    [[noreturn]] void fail(std::string const& reason) const {
        throw std::runtime_error(interface_ + ": " + reason);
    }
    void check(int status) const {
        if (status != 0)
            fail(pcap_geterr(pcap_.get()));
    }

    std::string interface_;
    Pcap pcap_;
    Zel::U64 missed_ = 0; // libpcap's count has 32 bits
    unsigned lastDrop_ = 0;
};

} // namespace

std::unique_ptr<PacketSocket> openPcapSocket(std::string const& interface) {
    return std::make_unique<PcapSocket>(interface);
}

} // namespace Agent
