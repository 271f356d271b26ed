# Guards in everything that is built, but not in the sanitizers' builds, which bring their own.
# ZEVA_GUARDS names those that tests/install looks for in every installed file.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

if("${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
  return()
endif()

check_pie_supported()
add_link_options(-Wl,-z,relro,-z,now)
add_compile_options(-fstack-protector-strong -fstack-clash-protection)
set(ZEVA_GUARDS linked stack)

# Only x86 has it.
check_cxx_compiler_flag(-fcf-protection ZEVA_CF_PROTECTION)
if(ZEVA_CF_PROTECTION)
  add_compile_options(-fcf-protection)
  list(APPEND ZEVA_GUARDS control-flow)
endif()

# The C library checks sizes in optimised code; level 3 takes a compiler that can tell those known
# at run time only.
set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("
  #include <features.h>
  static_assert(__USE_FORTIFY_LEVEL == 3);
  int main() {}" ZEVA_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
set(level $<IF:$<BOOL:${ZEVA_FORTIFY_3}>,3,2>)
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options("$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${level}>")
list(APPEND ZEVA_GUARDS $<${optimised}:sizes>)
