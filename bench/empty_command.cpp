// SPDX-License-Identifier: MIT
// The least that a program can be that loads the libraries of keyloftctl.

int main() {
    return 0;
}
