#!/usr/bin/env python3
"""make_help.py: turns the program's help text into a WinHelp file, and reads one back.

  make_help.py SOURCE OUTPUT        writes OUTPUT (a failed run leaves no file behind)
  make_help.py --check HLP SOURCE   decodes HLP and compares each topic with SOURCE;
                                    status 0 when every title, paragraph and jump agrees

The source markup is told at the head of help/korvanta.txt.

Format notes (numbers little-endian):
- The file is a small file system: a 16-byte header (magic 0x00035F3F, offset of the
  directory, -1 for "no free block", size of the whole file), then internal files, each
  behind a 9-byte header (space reserved including the header, space used, flags).
- The directory is an internal file holding a B+ tree (magic 0x293B, 38-byte header, pages
  of a fixed size, leaf pages with a count and the previous and next leaf). Its entries are
  NUL-terminated names with the file's offset, sorted by byte value: the viewer's search
  stops at the first name greater than the one it looks for.
- |SYSTEM: magic 0x036C, version 1.21 (WinHelp 3.1), date, flags 4 (topic text packed in
  4 KB blocks), then records: 1 the title, 3 the offset of the index topic, 6 the main
  window, whose caption is the title.
- |TOPIC: 4 KB blocks, each a 12-byte header (last link before the block, first link in
  it, last topic header before it) and packed text that unpacks to at most 16 KB. The
  packing is LZ77 (a flag byte, then eight literals or back references); we store literals
  only, so every full block carries exactly BLOCK_DATA bytes of the record stream, which
  flows on from block to block. A record's position is block * 0x4000 + 12 + offset.
  Records: a topic header (type 2) with the title, and paragraphs (type 0x20) holding
  format codes (0x80 font, 0x82 end of paragraph, 0xE3 jump, 0x89 end of jump, 0xFF end)
  with one NUL-terminated string before each code.
- A topic's offset, which record 3 and |CONTEXT hold, is block * 0x8000 plus the character
  counts of the paragraphs that start earlier in the same block.
- |FONT: the old layout (faces of 20 bytes, descriptors of 11).
- |CONTEXT: a B+ tree of (hash of a context name, topic offset), sorted by the hash as a
  signed number; jumps name their target by that hash.
- |KWBTREE and |KWDATA: the viewer's index of keywords, here each topic's title. Tree
  entries are the keyword, its count of topics (1) and where its topic offsets stand in
  |KWDATA, a plain array of topic offsets.
"""
import os
import struct
import sys

FILE_MAGIC = 0x00035F3F
TREE_MAGIC = 0x293B
SYSTEM_MAGIC = 0x036C
TOPIC_BLOCK = 0x1000
BLOCK_DATA = 3630  # 453 groups of 8 literals and one of 6 fill 4084 bytes exactly
TOPIC_HEADER, PARAGRAPH = 2, 0x20
FACE_SIZE = 20
NONE = 0xFFFFFFFF


class HelpError(Exception):
    pass


def Fail(message):
    raise HelpError(message)


# ---- the source ---------------------------------------------------------------

def ContextHash(name):
    """The viewer's hash of a context name, as a signed 32-bit number."""
    value = 0
    for c in name:
        if c.isalpha():
            code = ord(c.upper()) - ord('A') + 17
        elif c == '0':
            code = 10
        elif c.isdigit():
            code = ord(c) - ord('0')
        else:
            code = {'.': 12, '_': 13}[c]
        value = (value * 43 + code) & 0xFFFFFFFF
    return value - (1 << 32) if value & 0x80000000 else value


def Encode(text, where):
    try:
        return text.encode('cp1252')
    except UnicodeEncodeError:
        Fail(f'{where}: not Windows-1252 text')


def ParseSource(path):
    """(title, topics); a topic is (name, title, paragraphs), a paragraph ('text', bytes),
    ('list', bytes) or ('jump', name)."""
    title, topics, lines = None, [], []

    def Flush():
        if lines:
            kind = 'list' if lines[0].startswith('- ') else 'text'
            topics[-1][2].append((kind, Encode(' '.join(lines), path)))
            lines.clear()

    with open(path, encoding='utf-8') as source:
        for number, line in enumerate(source, 1):
            line = line.rstrip()
            where = f'{path}:{number}'
            if line.startswith('#'):
                continue
            if line.startswith('title:') and not topics:
                title = Encode(line[6:].strip(), where)
            elif line.startswith('= '):
                Flush()
                name, _, heading = line[2:].strip().partition(' ')
                if not heading or not all(c.isalnum() or c in '._' for c in name) \
                        or not name.isascii():
                    Fail(f'{where}: a topic needs a name of letters, digits, . or _ and a title')
                topics.append((name, Encode(heading.strip(), where), []))
            elif not topics:
                if line:
                    Fail(f'{where}: text before the first topic')
            elif not line:
                Flush()
            elif line.startswith('-> '):
                Flush()
                topics[-1][2].append(('jump', line[3:].strip()))
            else:
                if line.startswith('- '):
                    Flush()
                lines.append(line.strip())
    if topics:
        Flush()
    if not title or not topics or len(title) > 50:
        Fail(f'{path}: a title of at most 50 characters and at least one topic are needed')
    names = [t[0] for t in topics]
    if len({ContextHash(n) for n in names}) != len(names):
        Fail(f'{path}: two topics share a name or its hash')
    for name, _, paragraphs in topics:
        for kind, value in paragraphs:
            if kind == 'jump' and value not in names:
                Fail(f'{path}: topic {name} jumps to {value}, which does not exist')
    return title, topics


# ---- the writer -----------------------------------------------------------------

def PackedLong(value):   # signed, 4-byte form
    return struct.pack('<I', 0x80000000 + 2 * value + 1)


def PackedWord(value):   # unsigned, 1 or 2 bytes
    return bytes([2 * value]) if value < 0x80 else struct.pack('<H', 2 * value + 1)


def PackedShort(value):  # signed, 1-byte form
    return bytes([0x80 + 2 * value])


def Paragraph(pieces, font, after, indent=0, before=0):
    """A paragraph record's two parts; pieces are bytes or (hash, bytes) for a jump."""
    codes, strings, pending = bytearray(), [], b''

    def Code(code):
        nonlocal pending
        strings.append(pending)
        codes.extend(code)
        pending = b''

    Code(b'\x80' + struct.pack('<H', font))
    for piece in pieces:
        if isinstance(piece, bytes):
            pending += piece
        else:
            Code(b'\xE3' + struct.pack('<i', piece[0]))
            pending = piece[1]
            Code(b'\x89')
    Code(b'\x82')
    Code(b'\xFF')
    text = b''.join(s + b'\0' for s in strings)
    bits = (0x0002 if before else 0) | 0x0004 | (0x0010 if indent else 0)
    layout = (PackedShort(before) if before else b'') + PackedShort(after) \
        + (PackedShort(indent) if indent else b'')
    chars = sum(len(s) for s in strings) + 1
    data1 = (PackedLong(len(text)) + PackedWord(chars) + b'\x00\x80\x00\x00'
             + struct.pack('<H', bits) + layout + bytes(codes))
    return PARAGRAPH, data1, text, chars


def Tree(entries, page_size, structure):
    """A B+ tree of one leaf page holding the sorted entries."""
    body = b''.join(entries)
    if 8 + len(body) > page_size:
        Fail(f'too many entries for one {structure} page')
    leaf = struct.pack('<HHhh', page_size - 8 - len(body), len(entries), -1, -1) + body
    header = struct.pack('<HHH16sHHHhHHi', TREE_MAGIC, 0x0402, page_size, structure,
                         0, 0, 0, -1, 1, 1, len(entries))
    return header + leaf.ljust(page_size, b'\0')


def Position(p):
    return (p // BLOCK_DATA) * 0x4000 + 12 + p % BLOCK_DATA


def BuildTopics(topics):
    """|TOPIC, and the offset of each topic in it."""
    titles = {name: heading for name, heading, _ in topics}
    records = []  # (topic index, type, data1, text, chars)
    for number, (name, heading, paragraphs) in enumerate(topics):
        records.append((number, TOPIC_HEADER, None, heading, 0))
        records.append((number,) + Paragraph([heading], 1, 12))
        for kind, value in paragraphs:
            if kind == 'jump':
                paragraph = Paragraph([(ContextHash(value), titles[value])], 0, 4, 10)
            else:
                listed = kind == 'list'  # list entries stand close, indented
                paragraph = Paragraph([value], 0, 4 if listed else 6, 10 if listed else 0,
                                      0 if listed else 6)
            records.append((number,) + paragraph)
    # Sizes do not depend on positions: place the records, then fill in the links.
    sizes = [21 + (28 if r[1] == TOPIC_HEADER else len(r[2])) + len(r[3]) for r in records]
    starts = [sum(sizes[:i]) for i in range(len(records))]
    refs = [Position(s) for s in starts] + [NONE]
    offsets, count, block = [], 0, -1
    for (number, kind, _, _, chars), start in zip(records, starts):
        if start // BLOCK_DATA != block:
            block, count = start // BLOCK_DATA, 0
        if kind == TOPIC_HEADER:
            offsets.append(block * 0x8000 + count)
        count += chars
    heads = [i for i, r in enumerate(records) if r[1] == TOPIC_HEADER] + [len(records)]
    stream = bytearray()
    for i, (number, kind, data1, text, chars) in enumerate(records):
        if kind == TOPIC_HEADER:
            end = heads[number + 1]
            data1 = struct.pack('<IIIIIII', sum(sizes[i:end]),
                                offsets[number - 1] if number else NONE,
                                offsets[number + 1] if number + 1 < len(topics) else NONE,
                                number, NONE, refs[i + 1],
                                refs[end] if end < len(records) else NONE)
        stream += struct.pack('<IIIIIB', sizes[i], len(text), refs[i - 1] if i else NONE,
                              refs[i + 1], 21 + len(data1), kind) + data1 + text
    blocks = bytearray()
    for first in range(0, len(stream), BLOCK_DATA):
        chunk = stream[first:first + BLOCK_DATA]
        inside = [i for i, s in enumerate(starts) if first <= s < first + BLOCK_DATA]
        before = [i for i, s in enumerate(starts) if s < first]
        heads_before = [i for i in before if records[i][1] == TOPIC_HEADER]
        packed = b''.join(b'\0' + chunk[j:j + 8] for j in range(0, len(chunk), 8))
        blocks += struct.pack('<III', refs[before[-1]] if before else NONE,
                              refs[inside[0]] if inside else NONE,
                              refs[heads_before[-1]] if heads_before else NONE)
        # The viewer reads the last block from 0x44 bytes before its end at the least;
        # zeros unpack to zeros after the last record.
        blocks += packed.ljust(0x44 - 12, b'\0')
    return bytes(blocks), offsets


def BuildHelp(title, topics):
    topic, offsets = BuildTopics(topics)
    caption = struct.pack('<H10s9s51s5hII', 0x0007, b'main', b'main', title,
                          0, 0, 0, 0, 0, 0, 0)
    system = struct.pack('<HHHIH', SYSTEM_MAGIC, 21, 1, 0, 4)  # no date: same text, same file
    for kind, data in ((1, title + b'\0'), (3, struct.pack('<I', offsets[0])), (6, caption)):
        system += struct.pack('<HH', kind, len(data)) + data
    faces = [b'Arial']
    fonts = [(0, 20, 3, 0), (1, 28, 3, 0)]  # attributes, half points, family (swiss), face
    font = struct.pack('<HHHH', len(faces), len(fonts), 8, 8 + FACE_SIZE * len(faces))
    font += b''.join(f.ljust(FACE_SIZE, b'\0') for f in faces)
    font += b''.join(struct.pack('<BBBH3s3s', *f, b'\0\0\0', b'\xFF\xFF\xFF') for f in fonts)
    pairs = sorted((ContextHash(t[0]), offsets[i]) for i, t in enumerate(topics))
    context = Tree([struct.pack('<iI', h, o) for h, o in pairs], 0x800, b'L4')
    keywords = sorted(((t[1], offsets[i]) for i, t in enumerate(topics)),
                      key=lambda keyword: keyword[0].lower())
    kwbtree = Tree([k + b'\0' + struct.pack('<hI', 1, 4 * i) for i, (k, _) in enumerate(keywords)],
                   0x800, b'z4')
    kwdata = b''.join(struct.pack('<I', offset) for _, offset in keywords)
    files = {b'|CONTEXT': context, b'|FONT': font, b'|KWBTREE': kwbtree, b'|KWDATA': kwdata,
             b'|SYSTEM': system, b'|TOPIC': topic}
    body, where = bytearray(), {}
    for name, data in files.items():
        where[name] = 16 + len(body)
        body += struct.pack('<IIB', len(data) + 9, len(data), 4) + data
    directory = Tree([n + b'\0' + struct.pack('<I', where[n]) for n in sorted(files)],
                     0x400, b'z4')
    start = 16 + len(body)
    body += struct.pack('<IIB', len(directory) + 9, len(directory), 4) + directory
    return struct.pack('<IiiI', FILE_MAGIC, start, -1, 16 + len(body)) + bytes(body)


# ---- the reader -----------------------------------------------------------------

class Reader:
    def __init__(self, data):
        self.data = data

    def Take(self, offset, fmt):
        if offset < 0 or offset + struct.calcsize(fmt) > len(self.data):
            Fail(f'read past the end at {offset}')
        return struct.unpack_from(fmt, self.data, offset)

    def File(self, offset):
        """The body of the internal file at offset."""
        reserved, used, _ = self.Take(offset, '<IIB')
        if reserved < used + 9 or offset + reserved > len(self.data):
            Fail(f'internal file at {offset} does not fit')
        return self.data[offset + 9:offset + 9 + used]

    @staticmethod
    def Entries(tree, leaf_entry):
        """Every leaf entry of a B+ tree, in order; leaf_entry(page, at) -> (entry, next)."""
        tree = Reader(tree)
        magic, _, page_size = tree.Take(0, '<HHH')
        root, _, _, levels = tree.Take(26, '<HhHH')
        if magic != TREE_MAGIC or not levels:
            Fail('not a B+ tree')
        page = root
        for _ in range(levels - 1):  # down the leftmost children
            page = tree.Take(38 + page * page_size + 4, '<H')[0]
        entries, seen = [], set()
        while page != 0xFFFF:
            if page in seen:
                Fail('the leaf pages of a B+ tree run in a circle')
            seen.add(page)
            base = 38 + page * page_size
            count, _, following = tree.Take(base + 2, '<hhH')
            at = base + 8
            for _ in range(count):
                entry, at = leaf_entry(tree, at)
                entries.append(entry)
            page = following
        return entries


def Name(tree, at):
    end = tree.data.index(b'\0', at)
    return (tree.data[at:end], tree.Take(end + 1, '<I')[0]), end + 5


def Keyword(tree, at):
    end = tree.data.index(b'\0', at)
    return (tree.data[at:end],) + tree.Take(end + 1, '<hI'), end + 7


def Unpack(packed):
    out = bytearray()
    at = 0
    while at < len(packed):
        flags, at = packed[at], at + 1
        for bit in range(8):
            if at >= len(packed):
                break
            if flags >> bit & 1:
                code = packed[at] | packed[at + 1] << 8
                for _ in range(3 + (code >> 12)):
                    out.append(out[len(out) - (code & 0xFFF) - 1])
                at += 2
            else:
                out.append(packed[at])
                at += 1
    return out


def PackedNumber(reader, at, signed):
    """A packed number at at: (value, next)."""
    first = reader.data[at]
    wide = first & 1
    fmt = ('<I' if signed == 'long' else '<H') if wide else ('<H' if signed == 'long' else '<B')
    raw = reader.Take(at, fmt)[0]
    bias = {'long': 0x80000000 if wide else 0x8000, 'short': 0x8000 if wide else 0x80,
            'word': 0}[signed]
    return (raw - bias) // 2, at + struct.calcsize(fmt)


def ReadParagraph(record, data1_end, text):
    """A paragraph's pieces: bytes, or (hash, bytes) for a jump; and its character count."""
    at = 0x15
    _, at = PackedNumber(record, at, 'long')
    chars, at = PackedNumber(record, at, 'word')
    bits = record.Take(at + 4, '<H')[0]
    at += 6
    if bits & 0x0001:
        _, at = PackedNumber(record, at, 'long')
    for bit in (0x0002, 0x0004, 0x0008, 0x0010, 0x0020, 0x0040):
        if bits & bit:
            _, at = PackedNumber(record, at, 'short')
    if bits & 0x0100:
        at += 3
    if bits & 0x0200:
        Fail('tab stops are not written by us')
    strings = text.split(b'\0')
    pieces, jump = [], None
    for string in strings:
        if string:
            if jump is None:
                pieces.append(string)
            else:
                pieces.append((jump, string))
        if at >= data1_end:
            break
        code = record.data[at]
        if code == 0xFF:
            break
        if code == 0xE3:
            jump = record.Take(at + 1, '<i')[0]
        elif code == 0x89:
            jump = None
        elif code not in (0x80, 0x81, 0x82):
            Fail(f'unknown format code {code:#x}')
        at += {0x80: 3, 0xE3: 5}.get(code, 1)
    return pieces, chars


def ReadHelp(data):
    """(title, caption, index offset, topics, context, keywords); a topic is
    [offset, title, paragraphs]."""
    reader = Reader(data)
    magic, directory, _, size = reader.Take(0, '<IiiI')
    if magic != FILE_MAGIC or size != len(data):
        Fail('not a help file, or its size is wrong')
    files = dict(Reader.Entries(reader.File(directory), Name))
    names = list(files)
    if names != sorted(names):
        Fail('the directory is not sorted')
    for needed in (b'|SYSTEM', b'|TOPIC', b'|FONT', b'|CONTEXT', b'|KWBTREE', b'|KWDATA'):
        if needed not in files:
            Fail(f'no {needed.decode()} file')
    system = Reader(reader.File(files[b'|SYSTEM']))
    magic, minor, major, _, flags = system.Take(0, '<HHHIH')
    if (magic, major, minor, flags) != (SYSTEM_MAGIC, 1, 21, 4):
        Fail('|SYSTEM is not a 3.1 header with packed 4 KB blocks')
    title = caption = index = None
    at = 12
    while at + 4 <= len(system.data):
        kind, length = system.Take(at, '<HH')
        body = system.data[at + 4:at + 4 + length]
        if kind == 1:
            title = body.split(b'\0')[0]
        elif kind == 3:
            index = struct.unpack('<I', body)[0]
        elif kind == 6:
            caption = body[21:72].split(b'\0')[0]
        at += 4 + length
    font = Reader(reader.File(files[b'|FONT']))
    faces, descriptors, face_at, descriptor_at = font.Take(0, '<HHHH')
    if face_at != 8 or descriptor_at + 11 * descriptors > len(font.data):
        Fail('|FONT is not in the old layout')
    fonts = descriptors
    topic = reader.File(files[b'|TOPIC'])
    blocks = []
    for first in range(0, len(topic), TOPIC_BLOCK):
        unpacked = Unpack(topic[first + 12:first + TOPIC_BLOCK])
        if len(unpacked) > 0x4000:
            Fail('a topic block unpacks to more than 16 KB')
        blocks.append(unpacked)
    stream = Reader(bytes(b''.join(blocks)))
    block_starts = [sum(len(b) for b in blocks[:i]) for i in range(len(blocks))]
    topics, ref, block, count, seen = [], 12, -1, 0, set()
    while ref != NONE:
        if ref in seen or (ref - 12) >> 14 >= len(blocks):
            Fail(f'bad record position {ref:#x}')
        seen.add(ref)
        index_of = (ref - 12) >> 14
        at = block_starts[index_of] + ((ref - 12) & 0x3FFF)
        record = Reader(stream.data[at:])
        size, length, _, following, data1, kind = record.Take(0, '<IIIIIB')
        if data1 > size or size - data1 < length:
            Fail(f'record at {ref:#x} does not hold its text')
        text = record.data[data1:data1 + length]
        if index_of != block:
            block, count = index_of, 0
        if kind == TOPIC_HEADER:
            topics.append([block * 0x8000 + count, text, []])
        elif kind == PARAGRAPH and topics:
            pieces, chars = ReadParagraph(record, data1, text)
            topics[-1][2].append(pieces)
            count += chars
        else:
            Fail(f'record type {kind:#x} at {ref:#x}')
        ref = following
    pairs = Reader.Entries(reader.File(files[b'|CONTEXT']),
                           lambda tree, at: (tree.Take(at, '<iI'), at + 8))
    if pairs != sorted(pairs):  # the viewer's search stops at the first greater hash
        Fail('|CONTEXT is not sorted by hash')
    context = dict(pairs)
    kwdata = Reader(reader.File(files[b'|KWDATA']))
    keywords = [(word, kwdata.Take(where + 4 * n, '<I')[0]) for word, count, where
                in Reader.Entries(reader.File(files[b'|KWBTREE']), Keyword) for n in range(count)]
    if fonts < 2:
        Fail('fewer fonts than the text uses')
    return title, caption, index, topics, context, keywords


def Check(data, title, topics):
    """Every difference between a decoded file and the source, as texts."""
    got_title, caption, index, got, context, keywords = ReadHelp(data)
    problems = []
    words = [word.lower() for word, _ in keywords]
    if words != sorted(words) or sorted(keywords) != sorted((t[1], t[0]) for t in got):
        problems.append('the keywords are not the topic titles in order')
    if got_title != title or caption != title:
        problems.append(f'title {got_title!r}, caption {caption!r}, not {title!r}')
    by_offset = {t[0]: t for t in got}
    if not got or index != got[0][0]:
        problems.append('the index is not the first topic')
    if len(got) != len(topics):
        problems.append(f'{len(got)} topics, not {len(topics)}')
    titles = {name: heading for name, heading, _ in topics}
    for (name, heading, paragraphs), (offset, got_heading, got_paragraphs) in zip(topics, got):
        if by_offset.get(context.get(ContextHash(name))) is None \
                or by_offset[context[ContextHash(name)]][1] != heading:
            problems.append(f'{name}: its context does not lead to it')
        want = [[heading]] + [[(ContextHash(v), titles[v])] if k == 'jump' else [v]
                              for k, v in paragraphs]
        if got_heading != heading or got_paragraphs != want:
            problems.append(f'{name}: the decoded topic differs from the source')
        for pieces in got_paragraphs:
            for piece in pieces:
                if isinstance(piece, tuple) and \
                        by_offset.get(context.get(piece[0]), [0, None])[1] != piece[1]:
                    problems.append(f'{name}: a jump to {piece[1]!r} leads elsewhere')
    return problems


def Main(argv):
    try:
        if len(argv) == 3 and argv[0] == '--check':
            title, topics = ParseSource(argv[2])
            with open(argv[1], 'rb') as help_file:
                problems = Check(help_file.read(), title, topics)
            for problem in problems:
                print(f'make_help: {argv[1]}: {problem}', file=sys.stderr)
            return 1 if problems else 0
        if len(argv) != 2:
            print(__doc__.split('\n\n')[1], file=sys.stderr)
            return 2
        data = BuildHelp(*ParseSource(argv[0]))
        temporary = argv[1] + '.part'
        try:
            with open(temporary, 'wb') as out:
                out.write(data)
            os.replace(temporary, argv[1])
        except OSError:
            if os.path.exists(temporary):
                os.remove(temporary)
            raise
        return 0
    except HelpError as error:
        print(f'make_help: {error}', file=sys.stderr)
    except (OSError, struct.error, ValueError, IndexError) as error:
        print(f'make_help: {error}', file=sys.stderr)
    return 1


if __name__ == '__main__':
    sys.exit(Main(sys.argv[1:]))
