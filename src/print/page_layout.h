// The arithmetic of a printed page: how large an image comes out, and which
// printers take the image as PostScript.
#pragma once

// The printed length of pixels image pixels on a printer of printerDpi dots
// per inch when the screen has screenDpi: one image pixel is as large on
// paper as a screen pixel, then scaled by percent. Integer division at each
// step, 32-bit signed products; 0 when screenDpi is 0.
int PRI_PrintedSize(int pixels, int printerDpi, int screenDpi, int percent);

// Whether a printer is a colour PostScript printer. PostScript: the driver's
// name holds "POSTSCRIPT" or "PSCRIPT" in any case, or, where the spooler
// names every driver alike, the technology the driver reports (may be null)
// does. Colour: bits per pixel times planes reaches 9 or the colours reach 3,
// and the device does not call itself monochrome (colorDevice 0; 1 or -1
// when it says colour or nothing).
int PRI_IsColorPostScriptDriver(const char* driverName, const char* technology, int bitsPixel, int planes,
                                int numColors, int colorDevice);
