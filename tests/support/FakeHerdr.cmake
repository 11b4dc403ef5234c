# The fake herdr server and its scenarios: for the tests, and for the benchmarks, which are built
# without them.
add_library(FakeHerdr STATIC
    ${CMAKE_CURRENT_LIST_DIR}/FakeHerdrServer.cpp ${CMAKE_CURRENT_LIST_DIR}/FakeHerdrServer.h
    ${CMAKE_CURRENT_LIST_DIR}/FakeScenario.cpp ${CMAKE_CURRENT_LIST_DIR}/FakeScenario.h
)
target_link_libraries(FakeHerdr PUBLIC HerdrClient)
