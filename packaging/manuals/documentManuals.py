#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes manual pages from documents: the file formats (section 5) and the protocol (section 7).

    documentManuals.py SOURCE-DIR OUTPUT-DIR
"""
import pathlib
import re
import sys

import mdoc

# page, section, names, what it describes, document, its sections that are examples
PAGES = [
    ('softimage-pic', 5, ['softimage-pic', 'softimage-tag'], 'PIC pictures and TAG mattes, byte by byte',
     'picture-format.md', ['An example']),
    ('softimage-scene', 5, ['softimage-scene', 'softimage-spline', 'softimage-hierarchy'],
     'scenes, splines and hierarchies, byte by byte', 'toolkit-formats.md', ['Spline files, text']),
    ('tdr-protocol', 7, ['tdr-protocol'], 'the protocol between host and driver', 'protocol.md',
     ['The session in short', 'An example']),
]
PAGE_OF = {row[4]: f'{row[0]}({row[1]})' for row in PAGES}


def inline(text):
    """Links lead to pages where there are any; the rest is for mdoc.Page."""
    text = re.sub(r'\[([^\]]*)\]\(([^)#]*)[^)]*\)', lambda m: PAGE_OF.get(m.group(2), m.group(1)), text)
    return re.sub(r'\*\*(.+?)\*\*', lambda m: m.group(1) if '`' in m.group(1) else f'\1{m.group(1)}\2', text, flags=re.S)


def blocks(lines):
    """The blocks of a section: code, tables and text."""
    fenced = False
    for line in lines:
        if line.startswith('```'):
            fenced = not fenced
            yield 'code', None
        elif fenced or line.startswith('    '):
            yield 'code', line if fenced else line[4:]
        elif line.startswith('|'):
            yield 'table', line
        else:
            yield 'text', line


def write(page, lines):
    kept, kind = [], 'text'

    def flush():
        nonlocal kept
        if kind == 'code' and (code := [line for line in kept if line is not None]):
            page.literal(code)
            page.line('.Pp')
        elif kind == 'table':
            page.table([[cell.strip().replace('`', '') for cell in inline(row).strip('|').split('|')] for row in kept])
        elif kind == 'text':
            page.words([' ' + line for line in inline('\n'.join(kept)).split('\n')])
        kept = []

    for block, line in [*blocks(lines), ('end', None)]:
        if kind == 'code' and block == 'text' and not line:
            block, line = 'code', ''
        if block != kind:
            while kind == 'code' and kept and not kept[-1]:
                kept.pop()
            flush()
            kind = block
        kept.append(line)


def sections(text):
    """Level, title and lines of each section; code holds no headings here."""
    found = []
    for line in text.splitlines():
        if heading := re.match(r'(#+) (.*)', line):
            found.append((len(heading.group(1)), heading.group(2), []))
        else:
            found[-1][2].append(line)
    return found


def page_text(source, row):
    title, number, names, about, document, examples = row
    (_, _, introduction), *rest = sections((source / 'docs' / document).read_text())
    page = mdoc.Page(set())
    page.line(f"'\\\" t\n.\\\" Made from docs/{document}; change that.")
    page.line(f'.Dd November 22, 2026\n.Dt {title.upper()} {number}\n.Os\n.Sh NAME')
    page.line(' ,\n'.join(f'.Nm {name}' for name in names) + f'\n.Nd {about}\n.Sh DESCRIPTION')
    contents = '\n'.join(introduction).find('\n1. [')
    write(page, re.sub(r'\nContents:.*', '', '\n'.join(introduction)[:contents if contents > 0 else None], flags=re.S).split('\n'))
    page.line('.Sh EXAMPLES')
    above = ''
    for level, heading, lines in rest:
        above = heading if level == 2 else above
        if heading in examples:
            page.line(f'.Ss {above}')
            write(page, lines)
    for level, heading, lines in rest:
        if heading not in examples:
            page.line(f'.Sh {heading.upper()}' if level == 2 else f'.Ss {heading}')
            write(page, lines)
    others = sorted(['softimageFilter 1', 'tdr 1'] + [f'{other[0]} {other[1]}' for other in PAGES if other is not row],
                    key=lambda other: (other.split()[1], other))
    page.line('.Sh SEE ALSO\n' + ' ,\n'.join(f'.Xr {other}' for other in others))
    return page.text(), names


def main():
    source, output = map(pathlib.Path, sys.argv[1:])
    for row in PAGES:
        folder = output / f'man{row[1]}'
        folder.mkdir(parents=True, exist_ok=True)
        text, names = page_text(source, row)
        for name in names:
            (folder / f'{name}.{row[1]}').write_text(f'.so man{row[1]}/{row[0]}.{row[1]}\n')
        (folder / f'{row[0]}.{row[1]}').write_text(text)


main()
