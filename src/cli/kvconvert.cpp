// kvconvert: the batch conversion without a desktop. Each input is loaded,
// converted and saved exactly as the batch facility converts one file.
#include "cli/headless.h"
#include "platform/win32.h"

#include <cstdio>
#include <cstring>

namespace {

const char kUsage[] =
    "Usage: kvconvert [OPTIONS] INPUT...\n"
    "Convert image files from one format to another, one after the other.\n"
    "\n"
    "  -o, --output PATH          output file (one input) or directory (default: .)\n"
    "  -t, --to EXT               output format by extension, e.g. gif, pcx, tif\n"
    "  -d, --depth N              colour target 1, 4, 8, 16, 24 or 32\n"
    "      --gray | --color       convert to gray, or keep colour (default)\n"
    "      --flat | --optimized   reduction method (default --optimized)\n"
    "      --dither | --no-dither dither when reducing (default --dither)\n"
    "      --dither-type N|NAME   0 halftone, 1 qvd-fast, 2 floyd-steinberg (default),\n"
    "                             3 stucki, 4 burkes, 5 sierra, 6 jarvis,\n"
    "                             7 stevenson-arce, 8 floyd-noise\n"
    "      --fast-dither 0|1      colour match cache (default 1)\n"
    "      --compress | --no-compress\n"
    "      --tiff-compression DEPTH=NAME   PackBits, RLE, Group3, Group4\n"
    "      --jpeg-quality N       JPEG quality 1..100\n"
    "      --yes | --no           answer to a reader's question (default --no)\n"
    "      --force                overwrite existing outputs (never an input)\n"
    "  -q, --quiet / --progress   progress bar on a terminal by default\n"
    "      --list-formats         the format table\n"
    "      --info FILE            what the reader learned about FILE\n"
    "      --version, --help\n";

}  // namespace

int main(int argc, char** argv)
{
    HDL_SetEcho(true);
    for (int i = 1; i < argc; i++) {
        if (!strcmp(argv[i], "--version")) {
            printf("kvconvert (KorVanta) 3.50\n");
            return 0;
        }
        if (!strcmp(argv[i], "--help") || !strcmp(argv[i], "-h")) {
            fputs(kUsage, stdout);
            return 0;
        }
    }
    fprintf(stderr, "kvconvert: conversion is not available yet\n%s", kUsage);
    return 2;
}
