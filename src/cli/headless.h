// Control of the headless UI hooks: how questions are answered, what was
// shown, and the stop request raised by SIGINT.
#pragma once

#include "platform/win32.h"

#include <string>
#include <vector>

struct HeadlessBox {
    std::string text;
    std::string caption;
    UINT flags;
    int answer;
};

// Answer given to a question box: IDYES ("--yes") or IDNO ("--no", the default).
void HDL_SetPolicy(int answer);
// Answers used before the policy, first in first out (tests script dialogues).
void HDL_QueueAnswer(int answer);
// An answer of the icon dialogs, first in first out: for the reader's the list
// position (-1 Cancel) and the mask box, for the writer's the type code (0
// Cancel) and the alpha box.
void HDL_QueueIconAnswer(int choice, int box);
// Whether questions without a queued answer are asked on the terminal.
void HDL_SetInteractive(bool on);
// Whether boxes are printed to stderr (kvconvert) or only recorded (tests).
void HDL_SetEcho(bool echo);
// A prefix printed before each box's text, e.g. the file being converted.
void HDL_SetContext(const std::string& context);
// Every box shown since the last clear, in order.
const std::vector<HeadlessBox>& HDL_Boxes();
void HDL_ClearBoxes();
// The depth that UTL_ActiveImageBits reports (the document being converted).
void HDL_SetActiveBits(int bits);
// Makes UTL_Yield answer 0 from now on (SIGINT handler), or clears it.
void HDL_RequestStop(bool stop);
// Whether the thermometer draws its bar on stderr when that is a terminal
// (on by default; kvconvert's quiet mode turns it off).
void HDL_SetProgressBar(bool on);
// What the thermometer was asked since the last clear, one line a call that
// changed it: "open TEXT", "range LOW HIGH", "update POS FILL" and "paint POS
// FILL" (a plain and a full paint, FILL the bar's length out of 100),
// "text TEXT", "close".
const std::vector<std::string>& HDL_ThermometerCalls();
void HDL_ClearThermometerCalls();
