# Abseil's B-tree: Debian's libabsl-dev ships it in its CMake package as absl::btree.
vlt_require_debian_packages(libabsl-dev)
find_package(absl CONFIG REQUIRED)
set(bench_libraries absl::btree)
