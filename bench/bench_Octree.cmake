# nanoflann and Boost.Geometry are header-only: the packages put the headers in place.
vlt_require_debian_packages(libnanoflann-dev libboost-dev)
