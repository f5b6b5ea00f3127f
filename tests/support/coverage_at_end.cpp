// SPDX-License-Identifier: MIT
// In a build that counts how often each line runs: ends that skip the handlers of exit() keep their
// counts too. The linker turns calls of the three functions to these.

extern "C" {
void __gcov_dump();
[[noreturn]] void __real_abort();
[[noreturn]] void __real__exit(int code);
[[noreturn]] void __real__Exit(int code);

[[noreturn]] void __wrap_abort() {
    __gcov_dump();
    __real_abort();
}

[[noreturn]] void __wrap__exit(int code) {
    __gcov_dump();
    __real__exit(code);
}

[[noreturn]] void __wrap__Exit(int code) {
    __gcov_dump();
    __real__Exit(code);
}
}
