#!/usr/bin/env python3
"""Turns resources/strings.txt into the C++ string table and the .rc STRINGTABLE.

strings.txt: one entry per line, decimal id, a tab, the text with C escapes
(\\t \\n \\\\ \\" \\xNN). Lines starting with '#' and blank lines are ignored.
Usage: gen_strings.py strings.txt out.cpp out.rc
"""
import sys


def unescape(text, where):
    out = bytearray()
    i = 0
    while i < len(text):
        c = text[i]
        if c != '\\':
            out += c.encode('cp1252')
            i += 1
            continue
        i += 1
        if i >= len(text):
            raise ValueError(f'{where}: lone backslash at the end')
        e = text[i]
        simple = {'t': 9, 'n': 10, 'r': 13, '\\': 92, '"': 34, "'": 39, '0': 0, 'a': 7}
        if e == 'x':
            digits = text[i + 1:i + 3]
            if len(digits) != 2 or any(d not in '0123456789abcdefABCDEF' for d in digits):
                raise ValueError(f'{where}: bad \\x escape')
            out.append(int(digits, 16))
            i += 3
        elif e in simple:
            out.append(simple[e])
            i += 1
        else:
            raise ValueError(f'{where}: unknown escape \\{e}')
    return bytes(out)


def parse(path):
    entries = []
    with open(path, encoding='utf-8') as f:
        for n, line in enumerate(f, 1):
            line = line.rstrip('\n')
            if not line or line.startswith('#'):
                continue
            if '\t' not in line:
                raise ValueError(f'{path}:{n}: no tab after the id')
            ident, text = line.split('\t', 1)
            ident = int(ident)
            if not 0 <= ident <= 65535:
                raise ValueError(f'{path}:{n}: id out of range')
            if entries and ident <= entries[-1][0]:
                raise ValueError(f'{path}:{n}: id {ident} not ascending')
            entries.append((ident, unescape(text, f'{path}:{n}')))
    return entries


def c_literal(data):
    # Octal escapes for everything but plain printable ASCII keep both the C++
    # compiler and windres from reinterpreting a byte.
    out = []
    for b in data:
        if 32 <= b < 127 and b not in (34, 92, 63):
            out.append(chr(b))
        else:
            out.append('\\%03o' % b)
    return '"' + ''.join(out) + '"'


def main():
    src, out_cpp, out_rc = sys.argv[1:4]
    entries = parse(src)
    with open(out_cpp, 'w') as f:
        f.write('// Generated from resources/strings.txt by tools/gen_strings.py.\n')
        f.write('#include "platform/string_table.h"\n\n')
        f.write('const StringEntry STR_Table[] = {\n')
        for ident, data in entries:
            f.write(f'    {{{ident}, {len(data)}, {c_literal(data)}}},\n')
        f.write('};\n')
        f.write(f'const unsigned STR_Count = {len(entries)};\n')
    with open(out_rc, 'w') as f:
        f.write('// Generated from resources/strings.txt by tools/gen_strings.py.\n')
        f.write('LANGUAGE 9, 1\n')
        f.write('STRINGTABLE\nBEGIN\n')
        for ident, data in entries:
            if data:
                f.write(f'    {ident}, {c_literal(data)}\n')
        f.write('END\n')


if __name__ == '__main__':
    try:
        main()
    except ValueError as e:
        sys.exit(str(e))
