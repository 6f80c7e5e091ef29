// The Image Information dialog: the facts of an image window, and for the
// JPEG family the quality, sub-sampling and comment that the codec reads
// from the file itself.
#include "controls/image_info.h"

#include "core/app.h"
#include "core/image_record.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/jpeg.h"

#include <cstdio>
#include <string>

#include "image_info_dialog_ids.h"

namespace {
const UINT kProgressive = 1068;  // "Progressive JPEG"
const UINT kUnknown = 19988;     // "Unknown"
const int kProgressiveKind = 2;

std::string Loaded(UINT id)
{
    char text[128];
    return LoadStringA(MAI_Instance, id, text, sizeof text) > 0 ? text : "";
}

std::string Decimal(unsigned long value)
{
    char text[32];
    snprintf(text, sizeof text, "%lu", value);
    return text;
}

std::string BlockText(HGLOBAL block)
{
    const char* text = block ? static_cast<const char*>(GlobalLock(block)) : nullptr;
    if (!text) return "";
    // The block may lack its NUL: read no further than its size.
    std::string out(text, strnlen(text, GlobalSize(block)));
    GlobalUnlock(block);
    return out;
}

// The comment with each line break (CR, LF or the pair) as the edit
// control's CR LF.
std::string CommentLines(const std::string& comment)
{
    std::string out;
    for (size_t i = 0; i < comment.size(); i++) {
        const char c = comment[i];
        if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < comment.size() && comment[i + 1] == '\n') i++;
            out += "\r\n";
        } else {
            out += c;
        }
    }
    return out;
}

bool IsJpegRow(int row) { return row >= 0 && (row == FMT_Row_JPG || row == FMT_Row_PIC || row == FMT_Row_KQP); }

void Fill(HWND dialog, HWND window)
{
    const ImageRecord* record = IMG_GetRecord(window);
    if (!record || !record->hDIB) return;
    BITMAPINFOHEADER header{};
    if (const void* dib = GlobalLock(record->hDIB)) {
        memcpy(&header, dib, sizeof header);
        GlobalUnlock(record->hDIB);
    }
    const LONG width = header.biWidth;
    const LONG height = header.biHeight < 0 ? -header.biHeight : header.biHeight;
    const std::string path = BlockText(record->hPath);
    const FormatRow* row = FMT_GetRow(record->format);

    std::string type = row && row->description ? row->description : Loaded(kUnknown);
    unsigned long bits = record->bits;
    unsigned long size = static_cast<unsigned long>(DIB_Stride(width, header.biBitCount)) * static_cast<unsigned long>(height);

    // The codec's own reading of the file, for the three rows it serves.
    DWORD parameters = 0, uncompressed = 0;
    int kind = 0, bitCount = 0;
    const bool jpeg = IsJpegRow(record->format) && !path.empty() &&
                      ZIM_GetInfo(path.c_str(), nullptr, &parameters, &kind, &uncompressed, &bitCount, nullptr, nullptr);
    if (jpeg) {
        if (kind == kProgressiveKind) type = Loaded(kProgressive);
        if (bitCount) bits = static_cast<unsigned long>(bitCount);
        if (uncompressed) size = uncompressed;
    }

    SetDlgItemTextA(dialog, IDC_INFO_FILE, path.c_str());
    SetDlgItemTextA(dialog, IDC_INFO_TYPE, type.c_str());
    SetDlgItemTextA(dialog, IDC_INFO_WIDTH, Decimal(static_cast<unsigned long>(width)).c_str());
    SetDlgItemTextA(dialog, IDC_INFO_HEIGHT, Decimal(static_cast<unsigned long>(height)).c_str());
    SetDlgItemTextA(dialog, IDC_INFO_BITS, Decimal(bits).c_str());
    SetDlgItemTextA(dialog, IDC_INFO_SIZE, Decimal(size).c_str());
    const bool sized = record->fileSize > 0;
    SetDlgItemTextA(dialog, IDC_INFO_FILESIZE,
                    record->fileSize >= 0 ? Decimal(static_cast<unsigned long>(record->fileSize)).c_str()
                                          : Loaded(kUnknown).c_str());
    char ratio[48] = "1 : 1";
    if (record->compressed && sized)
        snprintf(ratio, sizeof ratio, "%.1f : 1", static_cast<double>(size) / static_cast<double>(record->fileSize));
    SetDlgItemTextA(dialog, IDC_INFO_RATIO, ratio);

    const int luma = parameters & 0xFF, chroma = (parameters >> 8) & 0xFF;
    // Without either quality the sub-sampling means nothing either.
    const int code = luma == 0 && chroma == 0 ? -1 : static_cast<int>((parameters >> 16) & 7);
    static const char* const kSampling[] = {"1/1/1", "2/1/1", "4/1/1"};
    const std::string unknown = Loaded(kUnknown);
    const std::string lines[] = {
        luma ? Decimal(static_cast<unsigned long>(luma)) : unknown,
        chroma ? Decimal(static_cast<unsigned long>(chroma)) : unknown,
        code >= 0 && code <= 2 ? kSampling[code] : unknown,
        CommentLines(BlockText(record->hComment)),
    };
    const int ids[] = {IDC_INFO_LUMINANCE, IDC_INFO_CHROMINANCE, IDC_INFO_SUBSAMPLING, IDC_INFO_COMMENT};
    for (int i = 0; i < 4; i++) {
        SetDlgItemTextA(dialog, ids[i], jpeg ? lines[i].c_str() : "");
        EnableWindow(GetDlgItem(dialog, ids[i]), jpeg);
    }
}
}  // namespace

INT_PTR CALLBACK DIS_ImageInfoProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        Fill(dialog, reinterpret_cast<HWND>(lParam));
        return TRUE;
    case WM_COMMAND:
        if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
            EndDialog(dialog, 1);
            return TRUE;
        }
        return FALSE;
    }
    return FALSE;
}

int DIS_ImageInfo(HWND frame, HWND window)
{
    if (!window || !IMG_GetRecord(window) || !IMG_GetDIB(window)) return 0;
    return DialogBoxParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_IMAGEINFO), frame, DIS_ImageInfoProc,
                           reinterpret_cast<LPARAM>(window)) > 0;
}
