// The process-wide switches of the colour engine's reductions: plain words set
// just before a call and read inside it.
#pragma once

// 1: Flat Cut and Flat Cut with Dither show the thermometer; 0: silent.
extern int CLR_FlatShowProgress;
// 1: Optimized Cut ends with error diffusion; 0: direct mapping.
extern int CLR_CutDither;
// 1: Optimized Cut shows the thermometer (the initial value); 0: silent.
extern int CLR_CutShowProgress;

// Setters, called before the operation.
void CLR_SetFlatProgress(int on);
void CLR_SetCutDither(int on);
void CLR_SetCutProgress(int on);
