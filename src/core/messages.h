// Every report to the user: a numbered text, a severity, and during a batch
// the question whether to cancel it.
#pragma once

#include "platform/win32.h"

enum Severity { SEV_NOTICE = 1, SEV_ERROR = 2, SEV_WARNING = 3 };

// Box flags: a report (system modal, exclamation, OK) and a question (Yes/No).
const UINT MSG_ReportFlags = 0x1030;
const UINT MSG_QueryFlags = 0x1024;

// Shows string id formatted with the values; during an unscripted batch an
// error becomes the question "Cancel Batch?" whose Yes sets the abort flag;
// the result is that question's answer, else 0.
int MSG_Report(int severity, UINT id, ...);
// As MSG_Report for a text that is already formatted.
void MSG_ReportText(int severity, LPCSTR text);
// Asks a Yes/No question built from string id; returns IDYES or IDNO.
int MSG_Query(int severity, UINT id, ...);

// The batch-cancel flag.
int MSG_GetAbort();
void MSG_SetAbort(int value);
void MSG_ClearAbort();

// The part of a path after its last backslash (or slash on native builds).
LPCSTR UTL_FileNamePart(LPCSTR path);

// Batch state read by the messages, the image-set path and the close prompt.
int BAT_IsActive();
int BAT_IsScripted();
void BAT_SetActive(int active, int scripted);
