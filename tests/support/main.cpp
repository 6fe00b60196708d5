#include <gtest/gtest.h>

#include <cstdlib>

/// The environment names a proxy that refuses every connection: the library must not read it.
int main(int argc, char** argv) {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    setenv(name, "http://127.0.0.1:1", 1);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
