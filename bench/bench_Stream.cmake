vlt_require_debian_packages(libfmt-dev)
find_package(fmt REQUIRED)
set(bench_libraries fmt::fmt)
