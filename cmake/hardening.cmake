# What Debian compiles its own daemons with, for builds that go onto a unit: the daemon runs as root. Libraries
# of folders and shipped programs link to this; how a program is linked comes along with any of those libraries.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)
check_cxx_compiler_flag(-fstack-clash-protection FWSTATUS_STACK_CLASH_PROTECTION)

set(shipped "$<CONFIG:Release,MinSizeRel>")
add_library(fwstatus_hardening INTERFACE)
target_compile_definitions(fwstatus_hardening INTERFACE "$<${shipped}:_FORTIFY_SOURCE=2>")
target_compile_options(
  fwstatus_hardening
  INTERFACE "$<${shipped}:-fstack-protector-strong>"
            "$<$<AND:${shipped},$<BOOL:${FWSTATUS_STACK_CLASH_PROTECTION}>>:-fstack-clash-protection>")
target_link_options(fwstatus_hardening INTERFACE "$<${shipped}:LINKER:-z,relro,-z,now>")
