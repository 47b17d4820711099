# Send entries made through kytcal (SEND /CREATE) against SQLite writing the same rows, one
# transaction a command.
add_executable(send_bench ${CMAKE_CURRENT_SOURCE_DIR}/send_bench.cpp)
target_link_libraries(send_bench PRIVATE kytcore SQLite::SQLite3)
