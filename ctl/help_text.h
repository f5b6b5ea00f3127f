// SPDX-License-Identifier: MIT
#pragma once

// What --help prints; between the two stand the faults that keyloft-machine has, too.

inline constexpr const char* help_start =
    R"(Sets up keyloft's machines from the command line, and says of each mapping whether the machine
confirmed it.

Usage: keyloftctl [OPTIONS] COMMAND

Commands:
  list                          The machines that are there
  set PART TYPE CHANNEL NUMBER  Set what a part sends: PART 0-127; TYPE note-on, note-off,
                                control-change (or cc) or bend-change (or bend); CHANNEL 1-16;
                                NUMBER of the note or controller, 0-127
  save                          Make the machine keep its mappings when it is switched off
  check FILE...                 Read layouts, and say what apply would do
  apply FILE...                 Set all that layouts say, on all their machines at once; nothing
                                is sent while one of them cannot be set up
  keep FILE...                  Stay, and set the machines of layouts whenever they appear, until
                                Ctrl-C
  watch                         Show what the machines send, until Ctrl-C
  identify                      Find out the number of a part by pressing or turning it, until
                                Ctrl-C; replaces all mappings of the machine, saves nothing
  doctor                        Find out why a machine cannot be set up, and what to do

FILE is a layout: a table for each machine, a line for each part; - is standard input, but
not for keep, which reads its files again when they change.

Options, before or behind the command:
  -m, --machine MACHINE         The machine: CODE, eight hexadecimal digits, or CODE@CLIENT:PORT
                                with the sequencer port to send to. Not needed while one machine
                                of the family is alone. check, apply, identify: take the layout
                                of one machine for this one.
  --save                        set, apply: save, too, where all mappings are confirmed
  --available                   apply: leave out the machines that cannot be set up
  --gentle                      set, save, apply: wait a third of a second behind each message
  --yes                         identify: do not ask first
  --layout FILE                 identify: print what this layout has for each part, too
  --then FILE                   identify: apply this layout at the end
  --json                        One JSON object a line
  --demo[=CODES]                Simulated machines instead of real ones: 4AC5F4C4, those of
                                CODE,CODE or "all"; needs no sequencer
  -h, --help                    Print this and exit
  --version                     Print the version and exit

Faults of the machines of --demo:
)";

inline constexpr const char* help_end = R"(
Exit status: 0 all that was asked for is confirmed; 1 something was unconfirmed or not sent; 2 the
arguments or a layout are wrong; 3 no such machine, several, or in use; 4 there is no sequencer.
Machines that --available leaves out do not count, unless all of them are.
)";
