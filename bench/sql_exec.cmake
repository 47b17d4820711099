# A station-like workload through rpdsql against the same statements through SQLite.
add_executable(sql_exec_bench ${CMAKE_CURRENT_SOURCE_DIR}/sql_exec_bench.cpp)
target_link_libraries(sql_exec_bench PRIVATE kytcore SQLite::SQLite3)
