#include <dlfcn.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

/// `lifetime_plugin_host <plug-in> <base URL> <preferences file> <exit status> <return or exit>
/// <microseconds>`: loads the plug-in, lets it begin, unloads it and ends.
int main(int argc, char** argv) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (argc < 7) return 64;
  void* const plugin = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::fputs(::dlerror(), stderr);
    return 65;
  }
  reinterpret_cast<void (*)(const char*, const char*)>(::dlsym(plugin, "beginInstall"))(argv[2], argv[3]);
  std::this_thread::sleep_for(std::chrono::microseconds(std::stol(argv[6])));
  ::dlclose(plugin);
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  ::dprintf(STDOUT_FILENO, "leaving %lld\n", static_cast<long long>(std::chrono::nanoseconds(now).count()));
  if (std::string(argv[5]) == "exit") std::exit(std::atoi(argv[4]));
  return std::atoi(argv[4]);
}
