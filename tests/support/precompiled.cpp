// SPDX-License-Identifier: MIT
// What is compiled here are the headers that the tests share; the build names them.
