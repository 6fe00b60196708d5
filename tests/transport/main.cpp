#include <gtest/gtest.h>

#include <cstdlib>

/// The tests talk to servers of their own on loopback, never through a proxy that the machine may have.
int main(int argc, char** argv) {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
