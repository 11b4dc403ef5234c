# answer-races: built with the benchmarks, and with the tests, which run a short round of it.
if(NOT TARGET FakeHerdr)
    include(${PROJECT_SOURCE_DIR}/tests/support/FakeHerdr.cmake)
endif()
add_executable(answer-races ${CMAKE_CURRENT_LIST_DIR}/AnswerRaces.cpp)
target_link_libraries(answer-races PRIVATE FakeHerdr)
# One place in every build, whichever folder included this.
set_target_properties(answer-races PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
