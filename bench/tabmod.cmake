# The per-table modules (insKTelem, getKTelemByCn) against the same statements as text
# through rpdsql and against SQLite.
add_executable(tabmod_bench ${CMAKE_CURRENT_SOURCE_DIR}/tabmod_bench.cpp)
target_link_libraries(tabmod_bench PRIVATE kytcore SQLite::SQLite3)
