#pragma once

#include <QTest>

// A test that needs a tool the machine lacks (Xvfb, xdotool, a keyboard layout...) skips on a
// developer's machine. CI sets SCRIVLANE_REQUIRE_ALL_TESTS=1: there a missing tool is a broken
// test machine, and it fails instead of turning the suite green.
#define SKIP_FOR_MISSING_TOOL(reason)                                                              \
    do {                                                                                           \
        if (qEnvironmentVariableIntValue("SCRIVLANE_REQUIRE_ALL_TESTS"))                           \
            QFAIL(reason " (SCRIVLANE_REQUIRE_ALL_TESTS is set: the test machine lacks it)");      \
        QSKIP(reason);                                                                             \
    } while (false)
