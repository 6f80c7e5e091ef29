// Messages: the string table text, formatted, in a box by severity.
#include "core/messages.h"

#include "platform/ui_hooks.h"

#include <cstring>

namespace {
int abortFlag = 0;
int batchActive = 0;
int batchScripted = 0;

const UINT kWarningCaption = 19715;
const UINT kCancelBatch = 21252;

// Loads and formats a message, or the missing-string text with the id.
void Compose(LPSTR out, UINT id, LPCSTR missing, va_list args)
{
    char format[256];
    if (LoadStringA(nullptr, id, format, sizeof format) > 0)
        wvsprintfA(out, format, args);  // texts are cut at 255, so 256 is enough for the values
    else
        wsprintfA(out, missing, static_cast<int>(id));
}

// The caption of a severity: the program's name, none, or "Warning".
void Caption(int severity, LPSTR caption, int size)
{
    caption[0] = 0;
    if (severity == SEV_NOTICE) lstrcpynA(caption, "Korvanta", size);
    else if (severity == SEV_WARNING) LoadStringA(nullptr, kWarningCaption, caption, size);
}
}  // namespace

int MSG_GetAbort() { return abortFlag; }
void MSG_SetAbort(int value) { abortFlag = value; }
void MSG_ClearAbort() { abortFlag = 0; }

int BAT_IsActive() { return batchActive; }
int BAT_IsScripted() { return batchScripted; }
void BAT_SetActive(int active, int scripted)
{
    batchActive = active;
    batchScripted = scripted;
}

namespace {
// Shows a finished report; the result is the batch question's answer, else 0.
int ShowReport(int severity, LPCSTR text)
{
    int answer = 0;
    char caption[64];
    Caption(severity, caption, sizeof caption);
    switch (severity) {
    case SEV_NOTICE:
    case SEV_WARNING:
        UTL_MessageBox(nullptr, text, caption, MSG_ReportFlags);
        break;
    case SEV_ERROR:
        if (!BAT_IsActive() || BAT_IsScripted()) {
            UTL_MessageBox(nullptr, text, nullptr, MSG_ReportFlags);
        } else {
            // A failing file during a batch asks whether to go on with the rest.
            char question[256 + 64];
            char tail[64];
            lstrcpynA(question, text, 256);
            if (LoadStringA(nullptr, kCancelBatch, tail, sizeof tail) > 0) lstrcatA(question, tail);
            answer = UTL_MessageBox(nullptr, question, nullptr, MSG_QueryFlags);
            if (answer == IDYES) MSG_SetAbort(1);
        }
        break;
    default:
        break;
    }
    return answer;
}
}  // namespace

void MSG_ReportText(int severity, LPCSTR text) { ShowReport(severity, text); }

int MSG_Report(int severity, UINT id, ...)
{
    char text[1024];
    va_list args;
    va_start(args, id);
    Compose(text, id, "Internal error (id = %d)", args);
    va_end(args);
    return ShowReport(severity, text);
}

int MSG_Query(int severity, UINT id, ...)
{
    char text[1024];
    va_list args;
    va_start(args, id);
    Compose(text, id, "Internal query error (id = %d)", args);
    va_end(args);
    char caption[64];
    Caption(severity, caption, sizeof caption);
    return UTL_MessageBox(nullptr, text, severity == SEV_ERROR ? nullptr : caption, MSG_QueryFlags);
}

LPCSTR UTL_FileNamePart(LPCSTR path)
{
    LPCSTR name = path;
    for (LPCSTR at = path; *at; at++) {
#ifdef _WIN32
        if (IsDBCSLeadByte(static_cast<BYTE>(*at)) && at[1]) {
            at++;
            continue;
        }
        if (*at == '\\') name = at + 1;
#else
        if (*at == '\\' || *at == '/') name = at + 1;
#endif
    }
    return name;
}
