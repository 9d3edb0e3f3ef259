// A network link with delay and loss between this network namespace and a new one, for kernels
// whose traffic control knows neither. Packets of up to 1500 bytes; each direction loses and delays
// by itself. Needs the rights of root.
//
//   bench_link MILLISECONDS LOSS_PERCENT NEAR_ADDRESS FAR_ADDRESS
//
// Prints "ready" when both ends are up. The far namespace is the one that this process is in; it
// ends, and the link with it, when its input does.
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPacketBytes = 2048;
// What waits beyond that is lost, as in any router.
constexpr std::size_t kQueuePackets = 4096;

// An adapter of the namespace that the process is in; its packets are read and written here.
int OpenAdapter(const char* name, const char* address) {
    const int descriptor = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strncpy(request.ifr_name, name, sizeof(request.ifr_name) - 1);
    if (descriptor < 0 || ioctl(descriptor, TUNSETIFF, &request) != 0) return -1;
    const std::string device = name;
    const std::string command = "ip address add " + std::string(address) + "/24 dev " + device +
                                " && ip link set " + device + " up && ip link set lo up";
    return std::system(command.c_str()) == 0 ? descriptor : -1;
}

struct Packet {
    Clock::time_point due;
    std::vector<char> bytes;
};

// One direction.
class Pipe {
public:
    Pipe(int from, int to, Clock::duration delay, double loss, unsigned seed)
        : from_(from), to_(to), delay_(delay), is_lost_(loss), random_(seed) {}

    void Take() {
        std::array<char, kPacketBytes> bytes;
        while (true) {
            const ssize_t count = read(from_, bytes.data(), bytes.size());
            if (count <= 0) return;
            if (is_lost_(random_) || waiting_.size() >= kQueuePackets) continue;
            waiting_.push_back({Clock::now() + delay_, {bytes.data(), bytes.data() + count}});
        }
    }

    void Deliver() {
        while (!waiting_.empty() && waiting_.front().due <= Clock::now()) {
            const std::vector<char>& bytes = waiting_.front().bytes;
            // A full adapter loses the packet.
            [[maybe_unused]] const ssize_t count = write(to_, bytes.data(), bytes.size());
            waiting_.pop_front();
        }
    }

    Clock::time_point NextDue() const {
        return waiting_.empty() ? Clock::time_point::max() : waiting_.front().due;
    }

private:
    int from_;
    int to_;
    Clock::duration delay_;
    std::bernoulli_distribution is_lost_;
    std::mt19937 random_;
    std::deque<Packet> waiting_;
};

// Until standard input ends.
void Relay(int near, int far, Clock::duration delay, double loss) {
    Pipe there(near, far, delay, loss, 1);
    Pipe back(far, near, delay, loss, 2);
    std::array<pollfd, 3> sources = {{{near, POLLIN, 0}, {far, POLLIN, 0}, {STDIN_FILENO, 0, 0}}};
    while ((sources[2].revents & (POLLHUP | POLLERR)) == 0) {
        const auto due = std::min(there.NextDue(), back.NextDue());
        timespec wait{1, 0};
        if (due != Clock::time_point::max()) {
            const auto left = std::max(Clock::duration::zero(), due - Clock::now());
            wait = {0, static_cast<long>(std::chrono::nanoseconds(left).count())};
        }
        ppoll(sources.data(), sources.size(), &wait, nullptr);
        there.Take();
        back.Take();
        there.Deliver();
        back.Deliver();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    const int near = OpenAdapter("near", argv[3]);
    // The adapter stays where it was made.
    if (near < 0 || unshare(CLONE_NEWNET) != 0) return 1;
    const int far = OpenAdapter("far", argv[4]);
    if (far < 0) return 1;
    std::puts("ready");
    std::fflush(stdout);
    const std::chrono::duration<double, std::milli> delay(std::atof(argv[1]));
    Relay(near, far, std::chrono::duration_cast<Clock::duration>(delay), std::atof(argv[2]) / 100);
    return 0;
}
