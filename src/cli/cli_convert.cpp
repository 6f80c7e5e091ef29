// The batch's conversion of one image, applied to a document held without a
// window: gray when asked, then up or down to the colour target.
#include "cli/cli_job.h"

#include "colour/conversions.h"

void CLI_ConvertDocument(CliDocument* doc, int targetBits, int gray, const ConvertOptions& options)
{
    ColourDocument colour = {doc->dib, doc->bits, doc->color};
    if (gray && colour.color) CLR_RunCommand(&colour, CLR_CMD_GRAY);
    // Optimized Cut unless flat is asked; the rule itself keeps 1 and 16 bits flat.
    CLR_ConvertDocument(&colour, targetBits, options.flat ? 0 : 1, options.dither ? 1 : 0, CLR_RULE_BATCH);
    doc->dib = colour.dib;
    doc->bits = colour.bits;
    doc->color = colour.color;
}
