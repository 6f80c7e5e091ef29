// The batch's colour target rules applied to a document (pending the colour engine).
#include "cli/cli_job.h"

void CLI_ConvertDocument(CliDocument* doc, int targetBits, int gray, const ConvertOptions& options)
{
    (void)doc;
    (void)targetBits;
    (void)gray;
    (void)options;
}
