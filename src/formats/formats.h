// The readers and writers of the built-in formats, as the format table calls
// them: load (path, address of a DIB handle) and save (path, DIB, colour flag,
// compressed flag, depth). Non-zero is success.
#pragma once

#include "formats/format_table.h"

#define KV_FORMAT_HANDLERS(NAME)                                                                         \
    int NAME##_Load(LPCSTR path, HGLOBAL* dib);                                                        \
    int NAME##_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);

KV_FORMAT_HANDLERS(BMP)  // BMP, DIB and RLE rows
KV_FORMAT_HANDLERS(GIF)
KV_FORMAT_HANDLERS(PCX)  // PCX, and PCC for reading
KV_FORMAT_HANDLERS(TGA)
KV_FORMAT_HANDLERS(TIF)
KV_FORMAT_HANDLERS(JPG)
KV_FORMAT_HANDLERS(PIC)
KV_FORMAT_HANDLERS(KQP)
KV_FORMAT_HANDLERS(IFF)  // IFF, and LBM for reading
KV_FORMAT_HANDLERS(GEN)
KV_FORMAT_HANDLERS(HEX)
KV_FORMAT_HANDLERS(ICO)
KV_FORMAT_HANDLERS(RAS)
KV_FORMAT_HANDLERS(SGI)  // the RGB row
KV_FORMAT_HANDLERS(PPM)
KV_FORMAT_HANDLERS(WPG)
int PCT_Load(LPCSTR path, HGLOBAL* dib);
int CLP_Load(LPCSTR path, HGLOBAL* dib);
int EPS_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
int AVI_Load(LPCSTR path, HGLOBAL* dib);
int WAV_Load(LPCSTR path, HGLOBAL* dib);
int MID_Load(LPCSTR path, HGLOBAL* dib);

#undef KV_FORMAT_HANDLERS
