// The program's string table, compiled from resources/strings.txt. On native
// builds LoadStringA reads it; on Windows the same texts are the .rc
// STRINGTABLE, and the table lets tests compare the two.
#pragma once

struct StringEntry {
    unsigned id;
    unsigned length;
    const char* text;
};

// All entries, ascending by id.
extern const StringEntry STR_Table[];
extern const unsigned STR_Count;

// The text of an id and its length, or null when the table has no such id.
const char* STR_Lookup(unsigned id, unsigned* length);
