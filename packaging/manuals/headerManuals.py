#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the manual pages of section 3 from the public headers and the documents' examples.

A header is the only place where its functions are described, so a page has the signatures and the
words of the header. Each function and type of a page also gets a page that leads there.
    headerManuals.py SOURCE-DIR OUTPUT-DIR
"""
import pathlib
import re
import sys

import headers
import mdoc

TOOLKIT = ('lib/foreign_image/h', '', 'tdr-toolkit', 'TDR::foreign_image')
HOST = ('lib/host/inc', 'tdr::', 'tdr-host', 'TDR::tdr_host')
DRIVER = ('app/drivers/lib/inc', '', 'tdr-driver', 'TDR::tdr_driver')

# page, where its headers are, headers, what it describes, document and section of its example
PAGES = [
    ('tinyPicture', TOOLKIT, ['tinyPicture.h', 'tinyPictureNotes.h'],
     'PIC pictures of the file toolkit', 'docs/toolkit.md', 'A picture'),
    ('tinyTag', TOOLKIT, ['tinyTag.h'], 'TAG mattes of the file toolkit', 'docs/toolkit.md', 'A matte'),
    ('tinyScene', TOOLKIT, ['tinyScene.h', 'tinyCamera.h', 'tinyLight.h'],
     'scenes, cameras and lights of the file toolkit', 'docs/toolkit.md', 'A scene'),
    ('tinyFcurve', TOOLKIT, ['tinyFcurve.h'], 'function curves of the file toolkit', 'docs/toolkit.md', 'A curve'),
    ('tinySpline', TOOLKIT, ['tinySpline.h'], 'splines of the file toolkit', 'docs/toolkit.md', 'A spline'),
    ('tinyModel', TOOLKIT, ['tinyModel.h', 'tinyOpaque.h'],
     'hierarchies of the file toolkit', 'docs/toolkit.md', 'A hierarchy'),
    ('tinyFile', TOOLKIT, ['tinyFile.h', 'tinySoftType.h'],
     'headers, strings, user data and messages of the file toolkit', 'docs/toolkit.md', 'A header'),
    ('tinyUtils', TOOLKIT, ['tinyUtils.h', 'tinyAnimNotice.h', 'tinyVector.h'],
     'animation text and notices of the file toolkit', 'docs/toolkit.md', 'Finding problems'),
    ('tdr::open', HOST, ['tdr/open.h', 'tdr/driverSearch.h', 'tdr/driverLink.h', 'tdr/privateFolder.h'],
     'open a picture by its path alone', 'docs/writing-a-host.md', ''),
    ('tdr::Session', HOST, ['tdr/session.h', 'tdr/sharedBlock.h', 'tdr/result.h', 'tdr/interruptGuard.h'],
     'start a driver and work with it', 'README.md', 'How a host talks to a driver'),
    ('tdr::PictureSource', HOST, ['tdr/picture.h'],
     'read and write pictures through a driver', 'README.md', 'How a host talks to a driver'),
    ('TDR_Driver', DRIVER, ['TDR_Driver.h'], 'write a driver', 'docs/writing-a-driver.md', ''),
]


def example(source, document, section):
    """The code of a section of a document; of the whole document without one."""
    text = (source / document).read_text()
    if section:
        text = re.search(rf'^## {section}\n(.*?)(?=^## |\Z)', text, re.M | re.S).group(1)
    return '\n\n'.join(code.rstrip() for code in re.findall(r'^```cpp\n(.*?)^```', text, re.M | re.S)).splitlines()


def page_text(source, row, parsed, functions):
    title, (_, space, package, target), files, about, document, section = row
    names = [name for _, units in parsed for name in headers.names_of(units, space)]
    text = mdoc.Page(functions)
    text.line('.\\" Made from the headers; change those.')
    text.line(f'.Dd November 22, 2026\n.Dt {title.upper()} 3\n.Os\n.Sh NAME')
    text.line(' ,\n'.join(f'.Nm {name}' for name in dict.fromkeys([title, *names])))
    text.line(f'.Nd {about}\n.Sh SYNOPSIS')
    for file, (_, units) in zip(files, parsed):
        text.line(f'.In {file}')
        for unit in units:
            if unit.kind == 'function':
                text.prototype(space, unit)
    text.line('.Sh DESCRIPTION')
    text.words(parsed[0][0])
    if space:
        text.line('.Pp\nAll names are in the namespace tdr.')
    text.line(f'.Pp\nLink with\n.Ql {target}\nof the CMake package TDR, or with what pkg-config prints for\n.Ql {package} .')
    text.line('.Sh EXAMPLES')
    text.literal(example(source, document, section))
    text.line('.Sh REFERENCE')
    for file, (comment, units) in zip(files, parsed):
        if len(files) > 1:
            text.line(f'.Ss {file}')
        if file != files[0]:
            text.words(comment)
        text.reference(units)
    others = [f'{other} 3' for other, where, *_ in PAGES if where[0] == row[1][0] and other != title]
    text.line('.Sh SEE ALSO\n' + ' ,\n'.join(f'.Xr {other}' for other in sorted(others + ['tdr 1'], key=str.lower)))
    return text.text(), names


def main():
    source, output = map(pathlib.Path, sys.argv[1:])
    output /= 'man3'
    parsed = [[headers.parse((source / where[0] / file).read_text()) for file in files]
              for _, where, files, *_ in PAGES]
    functions = {unit.name for page in parsed for _, units in page for unit in units if unit.kind == 'function'}
    output.mkdir(parents=True, exist_ok=True)
    for old in output.glob('*.3'):
        old.unlink()
    for row, page in zip(PAGES, parsed):
        text, names = page_text(source, row, page, functions)
        for name in names:
            (output / f'{name}.3').write_text(f'.so man3/{row[0]}.3\n')
        (output / f'{row[0]}.3').write_text(text)


main()
