#include <gtest/gtest.h>

#include <cstdlib>

/// The tests and the programs that they start use servers on loopback, without the machine's proxy.
int main(int argc, char** argv) {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
