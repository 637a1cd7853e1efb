// Entry point of the GUI tests: they need a display (./test.sh provides a
// virtual one); the toolkit itself is started by each test's fixture.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

// The toolkit keeps caches for the life of the process; leak reports of
// them would hide real findings of the sanitizer run.
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests (as CTest does to discover them) needs no display.
    if (!GTEST_FLAG_GET(list_tests) && !std::getenv("DISPLAY")) {
        std::fprintf(stderr, "GUI tests need a display: run them through ./test.sh "
                             "(or under xvfb-run).\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
