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
            $<$<BOOL:${FWSTATUS_WERROR}>:-Werror>)
