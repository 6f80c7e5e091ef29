// The image record: the document model. A document is one MDI child window of
// class GenericWClass with an ImageRecord on its first window word (and an undo
// record on its second); every operation on an image takes the child's window
// and works through the accessors declared here.
//
// Attribute numbers are four times a field's position and are a stable
// interface (extension modules use them). On i686 the record has exactly its
// 68-byte layout of 17 32-bit fields; on x86_64 the handle fields widen to
// pointer size, the attribute numbers stay, and the accessors take and return
// LONG_PTR.
#pragma once

#include "platform/win32.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

struct ImageRecord {
    DWORD flags;           // 0  IF_ bits
    HGLOBAL hDIB;          // 4  packed DIB, movable block; 0 for a window without image
    HGLOBAL hExtra;        // 8  spare block for extension modules, freed with the record
    HBITMAP hBitmap;       // 12 device bitmap for painting, or 0
    HPALETTE hPalette;     // 16 palette for the screen, 0 is legal
    DWORD paletteUpdates;  // 20 UpdateColors answers in a row
    DWORD bits;            // 24 document depth: 1, 4, 8, 16, 24 or 32
    DWORD compressed;      // 28 save compressed
    LONG format;           // 32 format table row, -1 for none
    DWORD savePreset;      // 36 1: Save As doesn't preselect from the document
    DWORD mediaAlias;      // 40 media device alias number, 65535 while none is open
    LONG scrollX;          // 44 horizontal scroll offset, painting origin
    LONG scrollY;          // 48 vertical scroll offset
    LONG fileSize;         // 52 size of the document's file, -1 if it can't be opened
    HGLOBAL hPath;         // 56 full path, NUL terminated, length plus 1 bytes
    DWORD reserved;        // 60 copied with the record, read by nothing
    HGLOBAL hComment;      // 64 JPEG-family comment text, or 0
};

// Attribute numbers.
enum ImageAttribute {
    IA_FLAGS = 0,
    IA_DIB = 4,
    IA_EXTRA = 8,
    IA_BITMAP = 12,
    IA_PALETTE = 16,
    IA_PALETTE_UPDATES = 20,
    IA_BITS = 24,
    IA_COMPRESSED = 28,
    IA_FORMAT = 32,
    IA_SAVE_PRESET = 36,
    IA_MEDIA_ALIAS = 40,
    IA_SCROLL_X = 44,
    IA_SCROLL_Y = 48,
    IA_FILE_SIZE = 52,
    IA_PATH = 56,
    IA_RESERVED = 60,
    IA_COMMENT = 64,
};
const int IMG_FieldCount = 17;

// Flags of ImageRecord.flags.
enum ImageFlag : DWORD {
    IF_MODIFIED = 0x0001,   // the image differs from its file
    IF_UNTITLED = 0x0002,   // no file behind the window
    IF_COLOR = 0x0004,      // colour image; clear: gray
    IF_RESERVED = 0x0008,   // cleared at creation, read by nothing
    IF_RASTER = 0x0010,     // document of type 0
    IF_VECTOR = 0x0020,     // document of type 1
    IF_ANIMATION = 0x0040,  // animation document
    IF_WAVE = 0x0200,       // wave document
    IF_MIDI = 0x0400,       // MIDI document
};
// Any of these takes a window out of all image operations.
const DWORD IF_MEDIA = IF_ANIMATION | IF_WAVE | IF_MIDI;

// Window words of GenericWClass: current record, undo record.
const int IMG_WORD_RECORD = 0;
const int IMG_WORD_UNDO = sizeof(LONG_PTR);
const int IMG_WindowBytes = 2 * sizeof(LONG_PTR);

// The document type codes of ImageInfo.type.
enum ImageType { IT_RASTER = 0, IT_VECTOR = 1, IT_METAFILE = 2, IT_ANIMATION = 3, IT_WAVE = 4, IT_MIDI = 5 };

// The creation block handed to WM_CREATE of GenericWClass through
// MDICREATESTRUCT.lParam. Kind 1: a record is made and handle (a DIB, a media
// handle or 0) becomes its contents; kind 2: the window stays bare.
struct ImageCreateBlock {
    WORD kind;
    HGLOBAL handle;
};
enum { IMG_CREATE_NORMAL = 1, IMG_CREATE_BARE = 2 };

#if !defined(_WIN64) && (defined(_WIN32) || UINTPTR_MAX == 0xFFFFFFFFu)
static_assert(sizeof(ImageRecord) == 68, "the record is 17 32-bit fields");
static_assert(offsetof(ImageRecord, hDIB) == 4 && offsetof(ImageRecord, hBitmap) == 12 &&
                  offsetof(ImageRecord, hPalette) == 16 && offsetof(ImageRecord, format) == 32 &&
                  offsetof(ImageRecord, scrollX) == 44 && offsetof(ImageRecord, fileSize) == 52 &&
                  offsetof(ImageRecord, hPath) == 56 && offsetof(ImageRecord, hComment) == 64,
              "attribute numbers are the byte offsets of the 32-bit record");
static_assert(sizeof(ImageCreateBlock) == 8 && offsetof(ImageCreateBlock, handle) == 4, "creation block layout");
#endif

// ---- record-level rules (no window needed) -------------------------------------

// Where the field of an attribute number lies in the record and how wide it
// is; false for a number that is not a multiple of 4 below 68.
inline bool IMG_AttrField(int attribute, size_t* offset, size_t* width, bool* isSigned)
{
    struct Field {
        size_t offset, width;
        bool isSigned;
    };
    static const Field fields[IMG_FieldCount] = {
        {offsetof(ImageRecord, flags), sizeof(DWORD), false},
        {offsetof(ImageRecord, hDIB), sizeof(HGLOBAL), false},
        {offsetof(ImageRecord, hExtra), sizeof(HGLOBAL), false},
        {offsetof(ImageRecord, hBitmap), sizeof(HBITMAP), false},
        {offsetof(ImageRecord, hPalette), sizeof(HPALETTE), false},
        {offsetof(ImageRecord, paletteUpdates), sizeof(DWORD), false},
        {offsetof(ImageRecord, bits), sizeof(DWORD), false},
        {offsetof(ImageRecord, compressed), sizeof(DWORD), false},
        {offsetof(ImageRecord, format), sizeof(LONG), true},
        {offsetof(ImageRecord, savePreset), sizeof(DWORD), false},
        {offsetof(ImageRecord, mediaAlias), sizeof(DWORD), false},
        {offsetof(ImageRecord, scrollX), sizeof(LONG), true},
        {offsetof(ImageRecord, scrollY), sizeof(LONG), true},
        {offsetof(ImageRecord, fileSize), sizeof(LONG), true},
        {offsetof(ImageRecord, hPath), sizeof(HGLOBAL), false},
        {offsetof(ImageRecord, reserved), sizeof(DWORD), false},
        {offsetof(ImageRecord, hComment), sizeof(HGLOBAL), false},
    };
    if (attribute < 0 || attribute % 4 != 0 || attribute / 4 >= IMG_FieldCount) return false;
    const Field& f = fields[attribute / 4];
    *offset = f.offset;
    *width = f.width;
    *isSigned = f.isSigned;
    return true;
}

// Reads the field of an attribute number: handles and unsigned fields come
// back zero-extended, signed fields sign-extended; a number that names no field reads 0.
inline LONG_PTR IMG_RecordGet(const ImageRecord* record, int attribute)
{
    size_t offset, width;
    bool isSigned;
    if (!IMG_AttrField(attribute, &offset, &width, &isSigned)) return 0;
    const char* at = reinterpret_cast<const char*>(record) + offset;
    if (width == sizeof(DWORD)) {
        DWORD v;
        memcpy(&v, at, sizeof v);
        return isSigned ? static_cast<LONG_PTR>(static_cast<LONG>(v)) : static_cast<LONG_PTR>(v);
    }
    LONG_PTR v;
    memcpy(&v, at, sizeof v);
    return v;
}

// Writes the field of an attribute number, cut to the field's width; a number
// that names no field changes nothing and gives 0, else 1.
inline int IMG_RecordSet(ImageRecord* record, int attribute, LONG_PTR value)
{
    size_t offset, width;
    bool isSigned;
    if (!IMG_AttrField(attribute, &offset, &width, &isSigned)) return 0;
    char* at = reinterpret_cast<char*>(record) + offset;
    if (width == sizeof(DWORD)) {
        DWORD v = static_cast<DWORD>(value);
        memcpy(at, &v, sizeof v);
    } else {
        memcpy(at, &value, sizeof value);
    }
    return 1;
}

// The document depth from ImageInfo's bits per pixel times planes: 1 for 1,
// else the first of 4, 8, 16, 24 that holds the product, and 32 above 24. An
// unknown (negative) value counts as blank, 0, and the product 0 gives 4.
inline DWORD IMG_DepthFromInfo(LONG bitsPerPixel, LONG planes)
{
    const long long product =
        bitsPerPixel < 0 || planes < 0 ? 0 : static_cast<long long>(bitsPerPixel) * planes;
    if (product == 1) return 1;
    if (product <= 4) return 4;
    if (product <= 8) return 8;
    if (product <= 16) return 16;
    if (product <= 24) return 24;
    return 32;
}

// Whether ImageInfo's gray value makes a colour document: 0, and an unknown
// (negative) value, which stands for the blank 0 of an info nothing filled in.
inline bool IMG_ColourFromInfo(LONG gray) { return gray <= 0; }
// The compressed attribute from ImageInfo's value; unknown counts as 0.
inline DWORD IMG_CompressedFromInfo(LONG compressed) { return compressed < 0 ? 0 : static_cast<DWORD>(compressed); }

// The document flag of a type code of ImageInfo when the creation block
// brings a handle: 0 raster, 1 vector, 4 wave, 5 MIDI; an animation (3) sets
// its own flag when its document opens, and other codes set nothing.
inline DWORD IMG_TypeFlag(LONG type)
{
    switch (type) {
    case IT_RASTER: return IF_RASTER;
    case IT_VECTOR: return IF_VECTOR;
    case IT_WAVE: return IF_WAVE;
    case IT_MIDI: return IF_MIDI;
    default: return 0;
    }
}

// A new movable block of the same size and contents, null if memory runs out
// (or for a null block). The source stays the caller's.
inline HGLOBAL MEM_CopyBlock(HGLOBAL block)
{
    if (!block) return nullptr;
    const SIZE_T size = GlobalSize(block);
    HGLOBAL copy = GlobalAlloc(GMEM_MOVEABLE, size);
    if (!copy) return nullptr;
    const void* from = GlobalLock(block);
    void* to = GlobalLock(copy);
    if (!from || !to) {
        if (from) GlobalUnlock(block);
        if (to) GlobalUnlock(copy);
        GlobalFree(copy);
        return nullptr;
    }
    memcpy(to, from, size);
    GlobalUnlock(copy);
    GlobalUnlock(block);
    return copy;
}

// A cleared record from the C heap, or null.
inline ImageRecord* IMG_NewRecord() { return static_cast<ImageRecord*>(calloc(1, sizeof(ImageRecord))); }
// Frees the record block (not what it owns).
inline void IMG_FreeRecord(ImageRecord* record) { free(record); }

#ifdef _WIN32
// ---- window-level accessors (the program) ------------------------------------------
// All take the image window; it must have a current record (not tested).

// The record on the first window word (current) or the second (undo), 0 if none.
ImageRecord* IMG_GetRecord(HWND hwnd);
ImageRecord* IMG_GetUndoRecord(HWND hwnd);
void IMG_PutRecord(HWND hwnd, ImageRecord* record);
void IMG_PutUndoRecord(HWND hwnd, ImageRecord* record);

// The field of an attribute number; no status-bar refresh.
LONG_PTR IMG_GetAttr(HWND hwnd, int attribute);
// Stores the field, then refreshes the status bars.
void IMG_SetAttr(HWND hwnd, int attribute, LONG_PTR value);
// 1 when any bit of mask is set, else 0.
int IMG_TestFlag(HWND hwnd, DWORD mask);
// Sets the bits when on is exactly 1, clears them for any other value; refreshes the status bars.
void IMG_SetFlag(HWND hwnd, DWORD mask, int on);
// The format table row of the document, -1 for none; the setter refreshes the status bars.
int IMG_GetFormat(HWND hwnd);
void IMG_SetFormat(HWND hwnd, int row);
// The record's own handles; they stay the record's.
HGLOBAL IMG_GetDIB(HWND hwnd);
HBITMAP IMG_GetBitmap(HWND hwnd);
HPALETTE IMG_GetPalette(HWND hwnd);
// New objects that the caller owns (null when there is nothing or memory runs out).
HGLOBAL IMG_CopyDIB(HWND hwnd);
HBITMAP IMG_CopyBitmap(HWND hwnd);
HPALETTE IMG_CopyPalette(HWND hwnd);

// A new palette with the same entries; 0 for a null or empty palette or when memory runs out.
HPALETTE GDI_CopyPalette(HPALETTE palette);
// A new bitmap of the same size, planes and depth, filled by BitBlt SRCCOPY.
HBITMAP GDI_CopyBitmap(HBITMAP bitmap);

// Stores a new cleared record in the first window word and 0 in the second.
void IMG_Create(HWND hwnd);
// Makes the record own hDIB and builds its palette and device bitmap for the
// screen (by the screen_bitmaps setting); the old objects are not released.
void IMG_AttachDIB(HWND hwnd, HGLOBAL hDIB);
// The one way to put new pixels into a window: keeps undo (keep_undo, not in
// a batch), attaches the DIB, realises its palette, fits the window, marks it
// modified, clears IF_COLOR for a gray palette, invalidates. hDIB passes to the record.
void IMG_SetImage(HWND hwnd, HGLOBAL hDIB);
// Frees everything that the record owns (not the record); a DIB, bitmap or
// palette offered on the clipboard is handed to the clipboard instead.
void IMG_ReleaseContents(HWND hwnd, ImageRecord* record);
// Tears the current and the undo record down and clears both window words.
void IMG_Destroy(HWND hwnd);

// ---- the undo side of the record ----------------------------------------------------
// Exchanges the current and the undo record; the returning record takes the
// scroll position of the one it replaces, so the view doesn't jump; retitle
// puts the returning format's extension in the title; repaint invalidates the window.
void IMG_SwapUndo(HWND hwnd, int repaint, int retitle);
// 1 when both words hold a record and the undo record has a DIB.
int IMG_HasUndo(HWND hwnd);
// Releases and frees the undo record, if any.
void IMG_DropUndo(HWND hwnd);
// Copies every field of source into destination, with private copies of the
// path and comment texts.
void IMG_CloneRecord(ImageRecord* destination, const ImageRecord* source);
// Delete: the image goes to the undo word (whatever keep_undo says) and the
// window keeps a record with all its attributes but no DIB, bitmap or palette.
void IMG_MakeEmptyFromUndo(HWND hwnd);

// The window procedure of GenericWClass.
LRESULT CALLBACK MainWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
#endif
