// Lookup in the compiled string table (binary search, ids ascending).
#include "platform/string_table.h"

const char* STR_Lookup(unsigned id, unsigned* length)
{
    unsigned lo = 0, hi = STR_Count;
    while (lo < hi) {
        unsigned mid = lo + (hi - lo) / 2;
        if (STR_Table[mid].id < id) lo = mid + 1;
        else hi = mid;
    }
    if (lo < STR_Count && STR_Table[lo].id == id) {
        if (length) *length = STR_Table[lo].length;
        return STR_Table[lo].text;
    }
    return nullptr;
}
