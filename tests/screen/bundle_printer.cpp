// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include <cstdio>

// Prints where it finds its bundle, and the path that a press makes of it: one line each.
int main() {
    const std::string bundle = bundle_path();
    ScreenState screen;
    {
        const CapturedOutput output;
        apply_action(screen);
    }
    std::printf("%s\n%s\n", bundle.c_str(), ShellCommandPath.c_str());
    return 0;
}
