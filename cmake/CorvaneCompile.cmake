# How every target of this project is compiled: `corvane_compile(target)`, or `corvane_tool(target)` for what is neither
# the library nor measures it.

function(corvane_compile target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Optimised, g++ 12 takes the inside of std::string's operator+ for an overlapping copy (GCC bug 105651), and
    # at -O1 the operators new and delete of Asio's coroutine frames for a mismatch.
    target_compile_options(${target} PRIVATE -Wno-restrict -Wno-mismatched-new-delete)
  endif()
  if(CORVANE_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CORVANE_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${CORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${CORVANE_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Asio 1.81 uses std::atomic_thread_fence, which g++ 12 cannot instrument and warns of.
      target_compile_options(${target} PRIVATE -Wno-tsan)
    endif()
  endif()
  # Boost 1.81 decides about coroutines by feature macros; its headers are not ours to warn about.
  target_compile_definitions(${target} PRIVATE BOOST_ASIO_NO_DEPRECATED)
endfunction()

# Tools, tests and examples: they are built often and run briefly, so an optimised build takes -O1 for them.
function(corvane_tool target)
  corvane_compile(${target})
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
endfunction()
