#pragma once
// The UDP datagrams to and from one port on the loopback interface, as a packet socket sees them
// (needs CAP_NET_RAW, as in a network namespace of the bench's own): how a bench learns the sizes
// of the messages another process puts on the wire. Each packet counts once (loopback shows it
// leaving and arriving; only the arrival is kept). Used on the bench's measuring thread; the
// constructor throws std::runtime_error when the socket cannot be made.

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace zevo::bench {

class Udp_capture {
public:
    struct Datagram {
        bool to_port = false;      ///< sent to the watched port (a request), else from it
        std::size_t payload = 0;   ///< UDP payload bytes
    };

    explicit Udp_capture(std::uint16_t port) : port_(port), fd_(::socket(AF_PACKET, SOCK_DGRAM, htons(ETH_P_IP))) {
        sockaddr_ll device{};
        device.sll_family = AF_PACKET;
        device.sll_protocol = htons(ETH_P_IP);
        device.sll_ifindex = static_cast<int>(::if_nametoindex("lo"));
        if (fd_ < 0 || device.sll_ifindex == 0 ||
            ::bind(fd_, reinterpret_cast<const sockaddr*>(&device), sizeof device) != 0) {
            if (fd_ >= 0) ::close(fd_);
            throw std::runtime_error("cannot capture on lo (a packet socket needs CAP_NET_RAW)");
        }
    }
    ~Udp_capture() { ::close(fd_); }
    Udp_capture(const Udp_capture&) = delete;
    Udp_capture& operator=(const Udp_capture&) = delete;

    /// The datagrams of the port that arrived since the last call, without waiting: a packet on
    /// loopback reaches the packet socket before the receiving socket, so whatever a process has
    /// answered is here once its answer has been read.
    std::vector<Datagram> take() {
        std::vector<Datagram> datagrams;
        std::uint8_t packet[65536];
        for (int count = 0; count < 100000; ++count) {
            sockaddr_ll from{};
            socklen_t length = sizeof from;
            const ssize_t size =
                ::recvfrom(fd_, packet, sizeof packet, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &length);
            if (size <= 0) break;
            if (from.sll_pkttype == PACKET_OUTGOING || static_cast<std::size_t>(size) < sizeof(iphdr)) continue;
            const auto* ip = reinterpret_cast<const iphdr*>(packet);
            const std::size_t ip_length = ip->ihl * 4u;
            if (ip->protocol != IPPROTO_UDP || static_cast<std::size_t>(size) < ip_length + sizeof(udphdr)) continue;
            const auto* udp = reinterpret_cast<const udphdr*>(packet + ip_length);
            const bool to_port = ntohs(udp->dest) == port_;
            if (!to_port && ntohs(udp->source) != port_) continue;
            datagrams.push_back({to_port, ntohs(udp->len) - sizeof(udphdr)});
        }
        return datagrams;
    }

private:
    std::uint16_t port_;
    int fd_;
};

}  // namespace zevo::bench
