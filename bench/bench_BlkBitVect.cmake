# CRoaring: Debian's libroaring-dev ships a CMake package with the target roaring::roaring.
vlt_require_debian_packages(libroaring-dev)
find_package(roaring CONFIG REQUIRED)
set(bench_libraries roaring::roaring)
