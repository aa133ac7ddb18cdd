add_library(fwstatus_warnings INTERFACE)
target_compile_options(
  fwstatus_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wold-style-cast
            -Wcast-qual
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wformat=2
            -Wundef
            -Wdouble-promotion
            # GCC 12 sees overlapping copies in its own std::string (its bug 105651).
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>
            $<$<BOOL:${FWSTATUS_WERROR}>:-Werror>)
