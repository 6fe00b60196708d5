# The libraries below this one, found once. What each is for stands in docs/architecture.md.

find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED COMPONENTS url)
find_package(CURL 7.87 REQUIRED)
find_package(SQLite3 3.37 REQUIRED)
find_package(ICU REQUIRED COMPONENTS uc)
find_package(nlohmann_json 3.11 REQUIRED)
if(CORVANE_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(CORVANE_BUILD_SANDBOX OR CORVANE_BUILD_TESTS)
  find_package(OpenSSL REQUIRED)
endif()
