// The Settings dialog (304): the controls of the "Core" settings, filled from
// the settings when it opens and read back at OK. Also installs what the
// settings hand over to the window side: the display options and the status
// bars' mode.
#include "core/settings.h"

#include "controls/status.h"
#include "core/app.h"
#include "platform/dib_paint.h"
#include "settings_dialog_ids.h"

namespace {
// The frame that the thumbnail "Settings" button talks to.
HWND settingsFrame = nullptr;

void DisplayOptions(int colorMatch, int alphaDisplay) { DIB_Paint(nullptr, nullptr, nullptr, colorMatch, alphaDisplay); }
void StatusMode(int mode) { STA_SetMode(mode); }
const SettingsHooks windowHooks = {DisplayOptions, StatusMode};
// In the program the hand-overs reach the window side from the first SET_Load on.
[[maybe_unused]] const bool hooksInstalled = (SET_SetHooks(&windowHooks), true);

// A drop-down list of consecutive strings, with the setting's entry selected.
void FillList(HWND dialog, int id, UINT firstString, int count, int keyNumber)
{
    HWND combo = GetDlgItem(dialog, id);
    SendMessageA(combo, CB_RESETCONTENT, 0, 0);
    for (int i = 0; i < count; i++) {
        char text[128];
        if (LoadStringA(nullptr, firstString + static_cast<UINT>(i), text, sizeof text) <= 0) text[0] = 0;
        SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    }
    SendMessageA(combo, CB_SETCURSEL, static_cast<WPARAM>(SET_Value(keyNumber)), 0);
}

// A TIFF combo: its offered compressions by name, the setting's name selected.
void FillTiff(HWND dialog, int id, int keyNumber)
{
    HWND combo = GetDlgItem(dialog, id);
    SendMessageA(combo, CB_RESETCONTENT, 0, 0);
    int offers[SET_TiffCompressionCount];
    int n = SET_TiffOffers(keyNumber, offers, SET_TiffCompressionCount);
    char name[32];
    for (int i = 0; i < n; i++) {
        SET_TiffName(offers[i], name, sizeof name);
        SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name));
    }
    SET_TiffName(SET_TiffShown(keyNumber), name, sizeof name);
    LRESULT at = name[0] ? SendMessageA(combo, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                        reinterpret_cast<LPARAM>(name))
                         : CB_ERR;
    if (at != CB_ERR) SendMessageA(combo, CB_SETCURSEL, static_cast<WPARAM>(at), 0);
}

void Check(HWND dialog, int id, int keyNumber)
{
    CheckDlgButton(dialog, id, SET_Value(keyNumber) ? BST_CHECKED : BST_UNCHECKED);
}

void InitDialog(HWND dialog)
{
    FillList(dialog, IDC_SET_SCREENBITMAPS, 1305, 3, SET_SCREEN_BITMAPS);
    FillList(dialog, IDC_SET_STATUSBARS, 1308, 4, SET_STATUS_WND);
    FillList(dialog, IDC_SET_STARTUP, 1312, 3, SET_STARTUP);
    FillList(dialog, IDC_SET_COLORMATCH, 20743, 2, SET_COLOR_MATCH);
    FillList(dialog, IDC_SET_DITHERTYPE, 20745, 8, SET_DITHER_TYPE);
    FillList(dialog, IDC_SET_ALPHADISPLAY, 1353, 4, SET_ALPHA_DISPLAY);
    FillTiff(dialog, IDC_SET_TIFF_MONO, SET_TIF_1_BIT_COMPRESSION);
    FillTiff(dialog, IDC_SET_TIFF_16COLORS, SET_TIF_4_BIT_COMPRESSION);
    FillTiff(dialog, IDC_SET_TIFF_256COLORS, SET_TIF_8_BIT_COMPRESSION);
    FillTiff(dialog, IDC_SET_TIFF_16BIT, SET_TIF_16_BIT_COMPRESSION);
    FillTiff(dialog, IDC_SET_TIFF_24BIT, SET_TIF_24_BIT_COMPRESSION);
    Check(dialog, IDC_SET_KEEPUNDO, SET_KEEP_UNDO);
    Check(dialog, IDC_SET_SAVEDITHER, SET_SAVE_DITHER);
    Check(dialog, IDC_SET_WARNCOLORLOSS, SET_SAVE_WARN_COLORLOSS);
    Check(dialog, IDC_SET_THUMBNAILS, SET_WANT_THUMBNAIL);
    CheckRadioButton(dialog, IDC_SET_FLATCUT, IDC_SET_OPTIMIZEDCUT,
                     SET_Value(SET_SAVE_COLORCUT) ? IDC_SET_OPTIMIZEDCUT : IDC_SET_FLATCUT);
}

LONG Selection(HWND dialog, int id)
{
    LRESULT at = SendDlgItemMessageA(dialog, id, CB_GETCURSEL, 0, 0);
    return at == CB_ERR ? -1 : static_cast<LONG>(at);
}

// The compression whose name the TIFF combo shows, -1 when none.
LONG TiffSelection(HWND dialog, int id)
{
    LRESULT at = SendDlgItemMessageA(dialog, id, CB_GETCURSEL, 0, 0);
    if (at == CB_ERR) return -1;
    char name[32];
    LRESULT length = SendDlgItemMessageA(dialog, id, CB_GETLBTEXTLEN, static_cast<WPARAM>(at), 0);
    if (length == CB_ERR || length >= static_cast<LRESULT>(sizeof name)) return -1;
    SendDlgItemMessageA(dialog, id, CB_GETLBTEXT, static_cast<WPARAM>(at), reinterpret_cast<LPARAM>(name));
    return SET_TiffIndex(name);
}

LONG Checked(HWND dialog, int id) { return IsDlgButtonChecked(dialog, id) == BST_CHECKED ? 1 : 0; }

// The OK step: every setting from its control, then what a change requires.
void ApplyDialog(HWND dialog)
{
    SettingsChoices c;
    c.screenBitmaps = Selection(dialog, IDC_SET_SCREENBITMAPS);
    c.statusWnd = Selection(dialog, IDC_SET_STATUSBARS);
    c.startup = Selection(dialog, IDC_SET_STARTUP);
    c.colorMatch = Selection(dialog, IDC_SET_COLORMATCH);
    c.ditherType = Selection(dialog, IDC_SET_DITHERTYPE);
    c.alphaDisplay = Selection(dialog, IDC_SET_ALPHADISPLAY);
    c.tiff[0] = TiffSelection(dialog, IDC_SET_TIFF_MONO);
    c.tiff[1] = TiffSelection(dialog, IDC_SET_TIFF_16COLORS);
    c.tiff[2] = TiffSelection(dialog, IDC_SET_TIFF_256COLORS);
    c.tiff[3] = TiffSelection(dialog, IDC_SET_TIFF_16BIT);
    c.tiff[4] = TiffSelection(dialog, IDC_SET_TIFF_24BIT);
    c.keepUndo = Checked(dialog, IDC_SET_KEEPUNDO);
    c.saveColorcut = Checked(dialog, IDC_SET_OPTIMIZEDCUT);
    c.saveDither = Checked(dialog, IDC_SET_SAVEDITHER);
    c.saveWarnColorloss = Checked(dialog, IDC_SET_WARNCOLORLOSS);
    c.wantThumbnail = Checked(dialog, IDC_SET_THUMBNAILS);
    // These two controls are gone from the dialog: metafile_pal reads 0, and
    // metafile_size reads 0, which the OK step ignores.
    c.metafilePal = Checked(dialog, IDC_SET_METAFILEPAL);
    BOOL read = FALSE;
    c.metafileSize = static_cast<LONG>(GetDlgItemInt(dialog, IDC_SET_METAFILESIZE, &read, FALSE));
    if (!read) c.metafileSize = 0;

    int changed = SET_ApplyChoices(&c);
    if ((changed & SET_COLOR_MATCH_CHANGED) && MAI_Client) {
        for (HWND child = GetWindow(MAI_Client, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
            if (!IsIconic(child)) InvalidateRect(child, nullptr, TRUE);
    }
    if (changed & SET_STATUS_WND_CHANGED) SET_HandOverStatusMode();
}

void Toggle(HWND dialog, int id)
{
    CheckDlgButton(dialog, id, IsDlgButtonChecked(dialog, id) == BST_CHECKED ? BST_UNCHECKED : BST_CHECKED);
}
}  // namespace

INT_PTR CALLBACK SET_SettingsProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        settingsFrame = reinterpret_cast<HWND>(lParam);
        InitDialog(dialog);
        return TRUE;
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case IDC_SET_SAVEDITHER:
        case IDC_SET_WARNCOLORLOSS:
        case IDC_SET_KEEPUNDO:
        case IDC_SET_THUMBNAILS:
            Toggle(dialog, LOWORD(wParam));
            return TRUE;
        case IDC_SET_FLATCUT:
        case IDC_SET_OPTIMIZEDCUT:
            CheckRadioButton(dialog, IDC_SET_FLATCUT, IDC_SET_OPTIMIZEDCUT, LOWORD(wParam));
            return TRUE;
        case IDC_SET_THUMBNAILSETTINGS:
            // For the extension library; the dialog itself does nothing more.
            if (settingsFrame) SendMessageA(settingsFrame, WM_COMMAND, IDC_SET_THUMBNAILSETTINGS, 0);
            return TRUE;
        case IDOK:
            ApplyDialog(dialog);
            EndDialog(dialog, 1);
            return TRUE;
        case IDCANCEL:
            EndDialog(dialog, 0);
            return TRUE;
        }
        break;
    }
    return FALSE;
}

void SET_Settings(HWND frame)
{
    INT_PTR result = DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_SETTINGS), frame,
                                     SET_SettingsProc, reinterpret_cast<LPARAM>(frame));
    if (result == 1) {
        SET_HandOverDisplay();
        SET_Save();
    }
}
