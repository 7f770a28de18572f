# One place for the warning flags every target of ours builds with.
add_library(vireo_warnings INTERFACE)
target_compile_options(vireo_warnings INTERFACE -Wall -Wextra -Wpedantic
  $<$<BOOL:${VIREO_WARNINGS_AS_ERRORS}>:-Werror>)
