# Abseil: Debian's libabsl-dev ships a CMake package (absl::flat_hash_map). Judy: libjudy-dev
# ships only Judy.h and libJudy, with neither a CMake package nor a pkg-config file.
vlt_require_debian_packages(libabsl-dev libjudy-dev)
find_package(absl CONFIG REQUIRED)
find_path(JUDY_INCLUDE_DIR Judy.h REQUIRED)
find_library(JUDY_LIBRARY Judy REQUIRED)
set(bench_libraries absl::flat_hash_map ${JUDY_LIBRARY})
