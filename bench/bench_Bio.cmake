vlt_require_debian_packages(libcereal-dev)
find_package(cereal REQUIRED)
set(bench_libraries cereal::cereal)
