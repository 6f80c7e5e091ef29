// The batch engine's portable half: the run state, the output-name rule, the
// conversion of one image and of one file. The program's run loop (on image
// windows) and kvconvert (on documents without a window) both convert through
// BAT_ConvertRules, so that the two can never convert differently.
#pragma once

#include "colour/conversions.h"
#include "platform/win32.h"

#include <cstddef>
#include <string>

// ---- run state: one run at a time in a process ----------------------------------
// The flags BAT_Active and BAT_Scripted are read through BAT_IsActive and
// BAT_IsScripted (core/messages.h).
struct BatchPair {
    char* input;   // upper-case file name, the engine's to free
    char* output;  // upper-case output name, the engine's to free
};

extern unsigned short BAT_Session;  // session counter
extern int BAT_ItemCount;           // pairs in BAT_Items, counted up by the dialog
extern BatchPair* BAT_Items;        // the pairs of the run, or null
extern int BAT_Total;               // BAT_ItemCount when the run started
extern int BAT_Step;                // steps started; BAT_Total + 1 after a whole run
extern char BAT_OutputDir[128];     // output directory as the dialog checked it
extern int BAT_ColorTarget;         // 0 Monochrome .. 5 32-Bit Color
extern int BAT_UseFlatCut;          // 1 Flat Cut, 0 Optimized Cut
extern int BAT_Color;               // 1 colour, 0 gray
extern int BAT_Dither;
extern int BAT_Compress;
extern int BAT_ThumbnailsSaved;  // want_thumbnail as the dialog found it
extern int BAT_ThumbnailsRun;    // want_thumbnail for the run

// The number of colour targets and the string id of target 0 ("Monochrome");
// target t has the string BAT_TargetText + t.
const int BAT_TargetCount = 6;
const UINT BAT_TargetText = 16645;
// The depth of a colour target: 1, 4, 8, 16, 24, 32; any other target 0.
int BAT_TargetBits(int target);

// The counter answered to outside programs.
int BAT_GetSession();
// An outside program brackets its own loads and saves: a non-zero value
// counts a session; both flags take the value.
void BAT_SetScripted(int value);

// Allocates the zeroed block of count pairs for a run (BAT_ItemCount 0);
// 0 when memory is short.
int BAT_AllocateItems(int count);
// Adds a pair (copies of both names); 0 when memory is short or the block is full.
int BAT_AddItem(const char* input, const char* output);
// Frees the two names of pair i.
void BAT_FreeItem(int i);
// Frees every name left and the block.
void BAT_FreeItems();

// ---- the output-name rule ----------------------------------------------------------
// The output name of a file name (no folder): the name up to and including its
// first dot, then the row's extension; a name without a dot stays as it is.
// Needs the name's length plus 5 bytes at most; 0 when out is too small.
int BAT_OutputName(const char* name, int row, char* out, size_t size);

// ---- the conversion of one image -------------------------------------------------
// What a run does to each image.
struct BatchSettings {
    int row = -1;      // output format row
    int bits = 24;     // colour target in bits
    int color = 1;     // 0: a colour image is made gray first
    int flatCut = 0;   // 1: Flat Cut, else Optimized Cut (never for 1 and 16 bits)
    int dither = 1;
    int compress = 1;  // the image's compressed attribute
};
// The settings of the run state.
BatchSettings BAT_CurrentSettings(int outputRow);

// An image the rules work on: a window's record or a document without a window.
struct BatchImageAccess {
    // Reads the image's DIB, depth and colour flag.
    void (*read)(void* image, ColourDocument* doc);
    // Puts a change in, as IMG_SetImage does.
    void (*install)(void* image, const ColourDocument& before, const ColourChange& change);
    void (*setCompressed)(void* image, int compressed);
    void (*setFormat)(void* image, int row);
};
// The batch's conversion of one image: gray when colour is off, then up to a
// deeper target or down with Optimized Cut (1 shifted by the bits colours)
// or Flat Cut, with or without dither; the same depth keeps the pixels (and a
// palette). Then the compressed attribute and the output row. A failed
// operation has reported itself; the image then stays as it stands.
void BAT_ConvertRules(const BatchImageAccess& access, void* image, const BatchSettings& settings);

// ---- one file without a window -----------------------------------------------------
// A document held without a window: its DIB and the facts a window would hold.
struct BatchDocument {
    HGLOBAL dib = nullptr;
    int bits = 0;        // 1, 4, 8, 16, 24 or 32
    int color = 1;       // 0 for a gray image
    int compressed = 0;  // saved compressed
    int format = -1;     // row it was loaded through
};
// Loads path through the row of its last extension, taking depth, colour and
// compression as a new window does; 0 after a report.
int BAT_LoadDocument(const std::string& path, BatchDocument* doc);
void BAT_FreeDocument(BatchDocument* doc);
// Runs the conversion rules on a document.
void BAT_ConvertDocument(BatchDocument* doc, const BatchSettings& settings);

// A front end that fits the settings to each loaded image (kvconvert follows
// each image's depth by default); null keeps them as given.
typedef void (*BatchFit)(const BatchDocument& loaded, BatchSettings* settings, const void* context);
// Converts one file: load by its last extension, fit, convert, save through
// settings.row under a private name and put it in place, so that a failed or
// interrupted save leaves nothing. 1 converted, 0 failed (reported), -1
// stopped by the user. unfinished names the private file while it exists.
// (Built with the headless front ends: the program converts in windows.)
int BAT_ConvertFile(const std::string& input, const std::string& output, BatchSettings settings, BatchFit fit,
                    const void* context, char* unfinished, size_t unfinishedSize);
// The private name output is written under before it is put in place.
std::string BAT_PartName(const std::string& output);
// 1 when input, output and the output's private name all fit whole; else
// says which path is too long and returns 0. Nothing is ever cut.
int BAT_CheckNames(const std::string& input, const std::string& output);
