# Loading the station list of 1000 and 10000 partners, against SQLite running the same
# ordered queries and attaching the rows the same way.
add_executable(stations_bench ${CMAKE_CURRENT_SOURCE_DIR}/stations_bench.cpp)
target_link_libraries(stations_bench PRIVATE kytcore SQLite::SQLite3)
