#include <gtest/gtest.h>

#include <cstdlib>

/// The tests and the programs that they start talk to servers on loopback, never through a proxy of the
/// machine.
int main(int argc, char** argv) {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
