// corvane_delay_line MILLISECONDS LOSS SEED SERVER CLIENT
//
// Runs the shell commands SERVER and CLIENT in two new network namespaces, at 10.77.0.1 and 10.77.0.2, joined
// by a line that delivers each packet after MILLISECONDS and drops LOSS per cent of them, chosen by a
// generator with that SEED. Ends with the client and with its exit status, and kills the server then.

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

/// 10.77.0.0/24
constexpr in_addr_t network = 0x0a4d0000, networkMask = 0xffffff00;

int require(int result, const char* what) {
  if (result >= 0) return result;
  std::fprintf(stderr, "corvane_delay_line: %s: %s\n", what, std::strerror(errno));
  std::exit(1);
}

void setAddress(int socket, ifreq request, unsigned long what, in_addr_t address) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(address);
  std::memcpy(&request.ifr_addr, &place, sizeof place);
  require(::ioctl(socket, what, &request), "no address for the line");
}

void raise(int socket, ifreq request) {
  request.ifr_flags = IFF_UP;
  require(::ioctl(socket, SIOCSIFFLAGS, &request), "an interface stays down");
}

/// Moves this process into a new network namespace and returns the descriptor of its end of the line.
int makeEnd(in_addr_t host) {
  require(::unshare(CLONE_NEWNET), "network namespaces are not permitted here");
  const int end = require(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC), "/dev/net/tun");
  const int socket = require(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "no socket");
  ifreq line{}, loopback{};
  std::strcpy(line.ifr_name, "line");
  std::strcpy(loopback.ifr_name, "lo");
  line.ifr_flags = IFF_TUN | IFF_NO_PI;
  require(::ioctl(end, TUNSETIFF, &line), "TUN devices are not permitted here");
  setAddress(socket, line, SIOCSIFADDR, network + host);
  setAddress(socket, line, SIOCSIFNETMASK, networkMask);
  raise(socket, line);
  raise(socket, loopback);
  ::close(socket);
  return end;
}

/// Starts the command in this process's network namespace, as the leader of a process group.
pid_t start(const char* command) {
  const pid_t process = require(::fork(), "no process");
  if (process != 0) return process;
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::execl("/bin/sh", "sh", "-c", command, nullptr);
  ::_exit(127);
}

struct Packet {
  Clock::time_point due;
  std::string bytes;
};

/// One direction of the line.
struct Direction {
  int from, to;
  nanoseconds delay;
  std::bernoulli_distribution isLost;
  std::mt19937_64 random;
  std::deque<Packet> packets{};

  void takeArrived() {
    std::array<char, 65536> buffer;
    for (ssize_t size = 0; (size = ::read(from, buffer.data(), buffer.size())) > 0;) {
      if (!isLost(random)) packets.push_back({Clock::now() + delay, {buffer.data(), std::size_t(size)}});
    }
  }

  void deliverDue() {
    for (; !packets.empty() && packets.front().due <= Clock::now(); packets.pop_front()) {
      // A device that is full drops the packet, as a network does.
      [[maybe_unused]] const ssize_t size =
          ::write(to, packets.front().bytes.data(), packets.front().bytes.size());
    }
  }
};

nanoseconds untilNext(const std::array<Direction, 2>& line) {
  nanoseconds wait = std::chrono::hours(1);
  for (const Direction& each : line) {
    if (!each.packets.empty()) wait = std::min<nanoseconds>(wait, each.packets.front().due - Clock::now());
  }
  return std::max(wait, nanoseconds(0));
}

void runUntilReadable(std::array<Direction, 2>& line, int ended) {
  std::array<pollfd, 3> ready{{{line[0].from, POLLIN, 0}, {line[1].from, POLLIN, 0}, {ended, POLLIN, 0}}};
  while (ready[2].revents == 0) {
    const nanoseconds wait = untilNext(line);
    const timespec time{wait.count() / 1'000'000'000, wait.count() % 1'000'000'000};
    require(::ppoll(ready.data(), ready.size(), &time, nullptr), "ppoll");
    for (Direction& each : line) {
      each.takeArrived();
      each.deliverDue();
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) return 2;
  const nanoseconds delay = std::chrono::milliseconds(std::atol(arguments[1]));
  const std::bernoulli_distribution isLost(std::atof(arguments[2]) / 100);
  const auto seed = std::uint64_t(std::atoll(arguments[3]));
  const int serverEnd = makeEnd(1);
  const pid_t server = start(arguments[4]);
  const int clientEnd = makeEnd(2);
  const pid_t client = start(arguments[5]);
  const int ended = require(static_cast<int>(::syscall(SYS_pidfd_open, client, 0)), "no process descriptor");

  // Packets must not be late because the programs that are measured are busy.
  const sched_param priority{.sched_priority = 1};
  ::sched_setscheduler(0, SCHED_FIFO, &priority);
  ::prctl(PR_SET_TIMERSLACK, 1);
  std::array<Direction, 2> line{{{clientEnd, serverEnd, delay, isLost, std::mt19937_64(seed)},
                                 {serverEnd, clientEnd, delay, isLost, std::mt19937_64(seed + 1)}}};
  runUntilReadable(line, ended);
  int status = 0;
  ::waitpid(client, &status, 0);
  ::kill(-server, SIGKILL);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
