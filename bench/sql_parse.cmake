# The SQL parse benchmark: the station's statements through both parsers against
# sqlite3_prepare_v2 in the same run. Included from bench/CMakeLists.txt, which finds SQLite3.
add_executable(sql_parse_bench ${CMAKE_CURRENT_LIST_DIR}/sql_parse_bench.cpp)
target_link_libraries(sql_parse_bench PRIVATE kytcore SQLite::SQLite3)
