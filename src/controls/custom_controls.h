// The program's own control classes.
#pragma once

// BitmapButton, GroupBox: registered at start-up; 0 on failure.
int BMP_RegisterClass();
int GRP_RegisterClass();
// VCRCtrl and SliderCtrl, the media documents' transport controls; 0 on failure.
int VC_RegisterClasses();
