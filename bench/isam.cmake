# The ISAM layer against SQLite.
add_executable(isam_bench ${CMAKE_CURRENT_SOURCE_DIR}/isam_bench.cpp)
target_link_libraries(isam_bench PRIVATE kytcore SQLite::SQLite3)
