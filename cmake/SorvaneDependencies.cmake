# What the library's own sources use. Hosts see none of it: it stays out of the public headers and of
# the exported target.

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED)      # headers: flat hash containers, multiprecision, polygon
find_package(Eigen3 3.4 REQUIRED NO_MODULE)

add_library(sorvane_dependencies INTERFACE)
target_link_libraries(sorvane_dependencies INTERFACE Threads::Threads)
if(SORVANE_THREADS STREQUAL "tbb")
  find_package(TBB REQUIRED)
  target_link_libraries(sorvane_dependencies INTERFACE TBB::tbb)
elseif(NOT SORVANE_THREADS STREQUAL "std")
  message(FATAL_ERROR "SORVANE_THREADS is \"${SORVANE_THREADS}\"; known: tbb, std")
endif()

target_link_libraries(sorvane_objects PRIVATE sorvane_dependencies)
# As system headers, so that their warnings are not ours.
target_include_directories(sorvane_objects SYSTEM PRIVATE
  "${Boost_INCLUDE_DIRS}" "$<TARGET_PROPERTY:Eigen3::Eigen,INTERFACE_INCLUDE_DIRECTORIES>")
