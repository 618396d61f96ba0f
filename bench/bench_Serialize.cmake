vlt_require_debian_packages(libcereal-dev libboost-serialization-dev)
find_package(cereal REQUIRED)
find_package(Boost REQUIRED COMPONENTS serialization)
set(bench_libraries cereal::cereal Boost::serialization)
