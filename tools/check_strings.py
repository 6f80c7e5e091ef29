#!/usr/bin/env python3
"""Check the string table source resources/strings.txt.

Format of the file:
  - one entry per line: decimal id, one TAB, the text;
  - the text uses C escapes: \\t \\n \\\\ \\" and \\xNN (two hex digits),
    every other character is printable ASCII (non-ASCII bytes of the
    Windows-1252 text are written as \\xNN);
  - lines starting with '#' are comments, blank lines are allowed;
  - ids are in 0..65535, unique and in ascending order.

The decoded text must not be empty and must fit LoadStringA's 256-byte
buffers (at most 255 bytes).

If resources/strings-missing.txt sits beside the table it is checked too:
its entries are "id<TAB>where it is used", ids unique, in range, and not
present in the table.

Usage: check_strings.py [-v] [path/to/strings.txt]
Prints the number of entries; exits with status 1 on any problem.
"""

import os
import re
import sys

MAX_ID = 65535
MAX_TEXT = 255

ENTRY_RE = re.compile(r"^(0|[1-9][0-9]*)\t(.*)$")
ESCAPES = {"t": 0x09, "n": 0x0A, "\\": 0x5C, '"': 0x22}
HEX = "0123456789abcdefABCDEF"


def decode(text):
    """Return (bytes, error) for an escaped text."""
    out = bytearray()
    i = 0
    while i < len(text):
        c = text[i]
        if c == "\\":
            if i + 1 >= len(text):
                return None, "backslash at end of text"
            e = text[i + 1]
            if e in ESCAPES:
                out.append(ESCAPES[e])
                i += 2
                continue
            if e == "x":
                h = text[i + 2:i + 4]
                if len(h) == 2 and h[0] in HEX and h[1] in HEX:
                    out.append(int(h, 16))
                    i += 4
                    continue
                return None, "\\x needs exactly two hex digits"
            return None, "unknown escape \\%s" % e
        o = ord(c)
        if c == '"':
            return None, 'bare double quote (write \\")'
        if o == 0x09:
            return None, "raw tab inside the text (write \\t)"
        if o < 0x20 or o > 0x7E:
            return None, "raw character U+%04X (write \\xNN)" % o
        out.append(o)
        i += 1
    return bytes(out), None


def read_lines(path, problems):
    try:
        with open(path, "rb") as f:
            raw = f.read()
    except OSError as exc:
        problems.append("%s: cannot read: %s" % (path, exc))
        return []
    if raw and not raw.endswith(b"\n"):
        problems.append("%s: last line has no line end" % path)
    if b"\r" in raw:
        problems.append("%s: carriage returns found (use LF line ends)" % path)
    try:
        text = raw.decode("ascii")
    except UnicodeDecodeError as exc:
        problems.append("%s: non-ASCII byte at offset %d" % (path, exc.start))
        text = raw.decode("ascii", "replace")
    return text.replace("\r", "").split("\n")


def check_table(path, problems, verbose):
    entries = {}
    last = -1
    heading = None
    per_heading = []
    for n, line in enumerate(read_lines(path, problems), 1):
        if line == "" or line.startswith("#"):
            if line.startswith("#"):
                heading = line[1:].strip()
            continue
        where = "%s:%d" % (path, n)
        m = ENTRY_RE.match(line)
        if not m:
            problems.append("%s: not 'id<TAB>text': %r" % (where, line[:60]))
            continue
        ident = int(m.group(1))
        text = m.group(2)
        if ident > MAX_ID:
            problems.append("%s: id %d out of range 0..%d" % (where, ident, MAX_ID))
        if ident in entries:
            problems.append("%s: duplicate id %d (first at line %d)"
                            % (where, ident, entries[ident]))
        elif ident < last:
            problems.append("%s: id %d out of order (after %d)" % (where, ident, last))
        data, err = decode(text)
        if err:
            problems.append("%s: id %d: %s" % (where, ident, err))
        elif not data:
            problems.append("%s: id %d: empty text" % (where, ident))
        elif len(data) > MAX_TEXT:
            problems.append("%s: id %d: text is %d bytes, more than %d"
                            % (where, ident, len(data), MAX_TEXT))
        entries.setdefault(ident, n)
        last = max(last, ident)
        if per_heading and per_heading[-1][0] == heading:
            per_heading[-1][1] += 1
        else:
            per_heading.append([heading, 1])
    if verbose:
        for h, c in per_heading:
            print("%5d  %s" % (c, h or "(no heading)"))
    return entries


def check_missing(path, table, problems):
    seen = {}
    for n, line in enumerate(read_lines(path, problems), 1):
        if line == "" or line.startswith("#"):
            continue
        where = "%s:%d" % (path, n)
        m = re.match(r"^(0|[1-9][0-9]*)\t(.+)$", line)
        if not m:
            problems.append("%s: not 'id<TAB>where used': %r" % (where, line[:60]))
            continue
        ident = int(m.group(1))
        if ident > MAX_ID:
            problems.append("%s: id %d out of range" % (where, ident))
        if ident in seen:
            problems.append("%s: duplicate id %d" % (where, ident))
        if ident in table:
            problems.append("%s: id %d is also in the string table" % (where, ident))
        seen[ident] = n
    return seen


def main(argv):
    verbose = "-v" in argv
    args = [a for a in argv if a != "-v"]
    if args:
        path = args[0]
    else:
        here = os.path.dirname(os.path.abspath(__file__))
        path = os.path.join(here, os.pardir, "resources", "strings.txt")
    path = os.path.normpath(path)
    problems = []
    table = check_table(path, problems, verbose)
    missing_path = os.path.join(os.path.dirname(path), "strings-missing.txt")
    missing = {}
    if os.path.exists(missing_path):
        missing = check_missing(missing_path, table, problems)
    for p in problems:
        print("error: " + p, file=sys.stderr)
    print("%d entries" % len(table))
    if os.path.exists(missing_path):
        print("%d ids without text in %s" % (len(missing), os.path.basename(missing_path)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
