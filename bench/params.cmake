# The parameter cache (rpdprm "get") against its first, database read and against SQLite's
# prepared primary-key SELECT of the same row.
add_executable(params_bench ${CMAKE_CURRENT_SOURCE_DIR}/params_bench.cpp)
target_link_libraries(params_bench PRIVATE kytcore SQLite::SQLite3)
