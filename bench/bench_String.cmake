vlt_require_debian_packages(qtbase5-dev)
find_package(Qt5 REQUIRED COMPONENTS Core)
set(bench_libraries Qt5::Core)
