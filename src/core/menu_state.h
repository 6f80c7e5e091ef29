// The menu states that follow the active image, the menu help line, Close
// All, and the combo box hooks offered to extension modules.
#pragma once

#include "platform/win32.h"

// WM_INITMENUPOPUP: enables and checks the entries of the File, Edit, Colors
// or Window popup as the active image allows; other popups are left alone.
void MAI_UpdateMenu(HMENU popup);
// WM_MENUSELECT: flags 0xFFFF (the menu closed) brings the memory line back;
// otherwise popup, when not 0, shows its help line, else the command item's.
void MAI_MenuSelect(HWND frame, HMENU menu, UINT item, HMENU popup, UINT flags);
// Destroys every visible image window without an owner, except those of the
// class BrowseClass, without asking.
void MAI_CloseAll();
// Close All: when every window agrees (or Shift is held), closes them with the bars held.
void MAI_CloseAllCommand();

// ---- combo boxes whose list skips items ---------------------------------------------
// An item whose data has a non-zero high word can't be selected, by the arrow
// keys or by the mouse. MAI_HookCombo subclasses a combo box and its drop-down
// list; MAI_UnhookCombo restores both.
void MAI_HookCombo(HWND combo);
void MAI_UnhookCombo(HWND combo);
// The subclass procedures of the combo box and of its list.
LRESULT CALLBACK MAI_NewComboProc(HWND combo, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK MAI_NewLComboProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam);
// EnumWindows procedures over the desktop's children: find the "ComboLBox"
// owned by the parent of the combo box in lParam, and subclass it or restore it.
BOOL CALLBACK MAI_HookLComboEnumProc(HWND window, LPARAM combo);
BOOL CALLBACK MAI_UnHookLComboEnumProc(HWND window, LPARAM combo);
