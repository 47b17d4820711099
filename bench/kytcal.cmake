# Command lines through kytcal (an operator command each: the command counter, a KT and an
# OK row in one transaction) against SQLite writing the same rows, one transaction a command.
add_executable(kytcal_bench ${CMAKE_CURRENT_SOURCE_DIR}/kytcal_bench.cpp)
target_link_libraries(kytcal_bench PRIVATE kytcore SQLite::SQLite3)
