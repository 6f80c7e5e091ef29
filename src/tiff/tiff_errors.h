// How libtiff's failures become the program's numbered messages. Every TIFF
// file is opened through TIF_OpenFile, which gives libtiff a per-file error
// and warning handler and a memory cap; the handler turns each condition into
// a string id through one table (tiff_errors.cpp) and never shows libtiff's
// own texts. Compression scheme 5 (LZW) is refused inside libtiff itself, so
// that setting it, on reading or on writing, fails with id 1537.
#pragma once

#include "platform/win32.h"

#include <cstdarg>
#include <tiffio.h>

// What the file is being used for when a condition arises: it chooses the
// ids of conditions that read and write alike, and the id of a condition
// that the table doesn't know.
enum TiffPhase {
    TIF_PHASE_OPEN,   // opening and reading the first directory
    TIF_PHASE_READ,   // fetching fields and scanlines
    TIF_PHASE_FIELDS, // setting the tags of a file being written
    TIF_PHASE_WRITE,  // writing scanlines
    TIF_PHASE_CLOSE,  // writing the directory at the end
};

// The error state of one open file.
struct TiffErrors {
    int phase;      // a TiffPhase
    int immediate;  // report each condition as it arises (writing) or keep it for TIF_ReportPending (reading)
    int quiet;      // conditions are noted but never shown (cleanup after a reported failure)
    int reported;   // a message has been shown for the current operation
    UINT id;        // the first condition of the current operation, 0 when none
};

// A fresh state: immediate reports when writing, deferred ones when reading.
void TIF_InitErrors(TiffErrors* errors, int writing);
// Starts a new operation: its first condition will be reported again.
void TIF_Rearm(TiffErrors* errors);
// Shows id once per operation (class 2) and marks the operation reported.
void TIF_Report(TiffErrors* errors, UINT id);
// Shows the condition kept for a failed read, unless a message was shown already.
void TIF_ReportPending(TiffErrors* errors);

// The string id of a libtiff condition: module and format are libtiff's own
// (the format text before formatting), text the formatted message. Warnings
// give 0 except the few that mean the data ran out.
UINT TIF_ErrorId(const char* module, const char* format, const char* text, int phase, int warning);

// Opens path with libtiff (mode "r" or "w") with the handlers bound to
// errors. Null on failure; the condition is then in errors (and shown when
// the state reports immediately and isn't quiet).
TIFF* TIF_OpenFile(LPCSTR path, const char* mode, TiffErrors* errors);
// The same for reading through the caller's procedures; the handle stays the caller's.
TIFF* TIF_OpenReader(LPCSTR name, thandle_t handle, TIFFReadWriteProc read, TIFFReadWriteProc write, TIFFSeekProc seek,
                     TIFFCloseProc close, TIFFSizeProc size, TIFFMapFileProc map, TIFFUnmapFileProc unmap,
                     TiffErrors* errors);

// The largest single allocation libtiff may make: what the largest image the
// program may hold (DIB_GetMemoryLimit) needs for a strip, coded or decoded.
tmsize_t TIF_MemoryCap();
