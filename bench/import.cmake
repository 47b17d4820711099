# The station table import (rpdist's path) against SQLite inserting the same rows, one
# transaction a record.
add_executable(import_bench ${CMAKE_CURRENT_SOURCE_DIR}/import_bench.cpp)
target_link_libraries(import_bench PRIVATE kytcore SQLite::SQLite3)
