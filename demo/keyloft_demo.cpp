// SPDX-License-Identifier: MIT
#include "demo/demo.h"

int main(int argc, char** argv) {
    return run_demo(argc, argv);
}
