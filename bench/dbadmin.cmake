# Dumping and loading a station database against the sqlite3 shell's .dump and reading the
# dump back (the sqlite3 command must be on the PATH; scripts/setup.sh installs it).
add_executable(dbadmin_bench ${CMAKE_CURRENT_SOURCE_DIR}/dbadmin_bench.cpp)
target_link_libraries(dbadmin_bench PRIVATE kytcore SQLite::SQLite3)
