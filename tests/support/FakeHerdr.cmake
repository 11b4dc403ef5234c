# The fake herdr server and its scenarios: for the tests, for the benchmarks, and as fake-herdr
# for `make demo`, which the release build makes without the tests.
add_library(FakeHerdr STATIC
    ${CMAKE_CURRENT_LIST_DIR}/FakeHerdrServer.cpp ${CMAKE_CURRENT_LIST_DIR}/FakeHerdrServer.h
    ${CMAKE_CURRENT_LIST_DIR}/FakeScenario.cpp ${CMAKE_CURRENT_LIST_DIR}/FakeScenario.h
    ${CMAKE_CURRENT_LIST_DIR}/FakeScenarioTerminals.cpp
    ${CMAKE_CURRENT_LIST_DIR}/TmuxPane.cpp ${CMAKE_CURRENT_LIST_DIR}/TmuxPane.h
)
target_link_libraries(FakeHerdr PUBLIC HerdrClient)

add_executable(fake-herdr ${CMAKE_CURRENT_LIST_DIR}/fake-herdr.cpp)
target_link_libraries(fake-herdr PRIVATE FakeHerdr)
# One place in every build, whichever folder included this.
set_target_properties(fake-herdr PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/support)
