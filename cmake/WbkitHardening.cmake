# What compiler and linker do against faults that are still there, for everything that is built here.
# scripts/check-binary.sh proves it on a library.

include(CheckCXXCompilerFlag)

# wbkit_harden(VARIABLE FLAG): a flag that not every compiler has.
function(wbkit_harden variable flag)
  check_cxx_compiler_flag(${flag} ${variable})
  if(${variable})
    add_compile_options(${flag})
  endif()
endfunction()

wbkit_harden(WBKIT_HAS_STACK_PROTECTOR -fstack-protector-strong)
# Returns and indirect calls go where code means them to go, on a processor that looks.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  wbkit_harden(WBKIT_HAS_CF_PROTECTION -fcf-protection)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64|ARM64")
  wbkit_harden(WBKIT_HAS_BRANCH_PROTECTION -mbranch-protection=standard)
endif()

# Only with optimisation, which it needs. Sanitizers see more by themselves, and do not know its functions. Level 3
# would check by a call every store in the kernels whose place a loop decides, and leave what is stored on the stack.
if(NOT WBKIT_SANITIZE)
  # Some compilers come with a level of their own, and a second definition would be an error.
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()

add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# Off, as it takes lld and link-time optimisation, which nothing else here is checked with. WbkitLibrary.cmake uses it.
option(WBKIT_CFI "Indirect calls inside the library reach functions of the right type alone (Clang)" OFF)
if(WBKIT_CFI)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "WBKIT_CFI needs Clang, not ${CMAKE_CXX_COMPILER_ID}.")
  endif()
  set(WBKIT_CFI_OPTIONS -flto -fsanitize=cfi-icall
      "-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/cfi-ignored.txt")
  set(WBKIT_CFI_LINK_OPTIONS -fuse-ld=lld ${WBKIT_CFI_OPTIONS})
  if(WBKIT_HAS_CF_PROTECTION)
    # Shadow stacks stay. The marks for indirect calls do not fit into the jump tables that Clang 14 makes for CFI.
    list(APPEND WBKIT_CFI_OPTIONS -fcf-protection=return)
  endif()
endif()
