# SPDX-License-Identifier: MIT
"""Writes a manual page in the macros of mdoc."""
import re

import headers


def escaped(text):
    return text.replace('\\', '\\e').replace('"', '\\(dq')


def quoted(text):
    return f'"{escaped(text)}"'


def emphasised(text):
    """For troff, with *words* in italics."""
    return re.sub(r'(?<!\S)\*(\w+)\*', r'\\fI\1\\fR', text.replace('\\', '\\e'))


class Page:
    def __init__(self, functions):
        self.lines = []
        self.functions = functions
        self.arguments = set()

    def text(self):
        """The page. Bold text is between the bytes 1 and 2."""
        return '\n'.join(self.lines).replace('\1', '\\fB').replace('\2', '\\fR') + '\n'

    def line(self, text):
        """A line. Headings, lists and displays have their own space."""
        for line in text.split('\n'):
            if self.lines[-1:] == ['.Pp'] and line.startswith(('.Pp', '.Sh', '.Ss', '.Bd', '.Bl', '.El', '.It')):
                self.lines.pop()
            if line != '.Pp' or not self.lines[-1].startswith(('.Sh', '.Ss', '.It')):
                self.lines.append(line)

    def plain(self, text):
        """Running text, each sentence on a line of its own."""
        for sentence in re.split(r'(?<=[.?!])\s+|(?<=[.?!]\))\s+', text.strip()):
            if sentence:
                self.line(re.sub(r"^([.'])", r'\\&\1', emphasised(sentence)))

    def code(self, code, before, after):
        if code in self.arguments:
            macro = 'Fa'
        elif code in self.functions:
            macro = 'Fn'
        else:
            macro = 'Dv' if re.fullmatch(r'k[A-Z]\w*', code) else 'Ql'
        line = f'{macro} {quoted(code)}'
        if not set(after) - set('.,;:)'):
            line += ''.join(f' {mark}' for mark in after)
        else:
            line += f' Ns {quoted(after)}'
        self.line(f'.Pf {before} {line}' if before else f'.{line}')

    def paragraph(self, text):
        """Text with code between backquotes."""
        pieces = re.split(r'(\(?)`([^`]*)`([.,;:)]*(?=\s|$)|\S*)', text)
        self.plain(pieces[0])
        for before, code, after, rest in zip(*[iter(pieces[1:])] * 4):
            self.code(code, before, after)
            self.plain(rest)

    def words(self, lines):
        """A comment: paragraphs, lists, and code that is indented."""
        text, code, bullets = [], [], False

        def flush():
            nonlocal text, code
            if code:
                self.literal(code)
            if text:
                self.paragraph(' '.join(text))
            text, code = [], []

        for raw in lines:
            stripped = raw.strip()
            if raw.startswith('     '):
                if not code:
                    flush()
                code.append(raw[5:])
            elif not stripped:
                flush()
                if not bullets:
                    self.line('.Pp')
            elif item := re.match(r'(-|\d+\.) (.*)', stripped):
                flush()
                if not bullets:
                    self.line('.Bl -bullet' if item.group(1) == '-' else '.Bl -enum')
                bullets = True
                self.line('.It')
                text = [item.group(2)]
            elif bullets and not raw.startswith('   '):
                flush()
                self.line('.El\n.Pp')
                bullets = False
                text = [stripped]
            else:
                if code:
                    flush()
                text.append(stripped)
        flush()
        if bullets:
            self.line('.El')

    def literal(self, lines):
        self.line('.Bd -literal')
        for line in lines:
            self.line(re.sub(r"^([.'])", r'\\&\1', line.replace('\\', '\\e')))
        self.line('.Ed')

    def table(self, rows):
        """Rows of cells; the first one is the head, the second one its rule."""
        head, _, *body = rows
        widths = [max(len(cell) for cell in column) for column in zip(*[head, *body])]
        while sum(widths) + 3 * len(widths) > 70:
            widths[widths.index(max(widths))] -= 1
        self.line('.TS\nnokeep;\n' + ' '.join('lb' for _ in head) + '\n' +
                  ' '.join(f'lw({width}n)' for width in widths) + '.')
        for row in [head, *body]:
            self.line('\t'.join(f'T{{\n\\&{emphasised(cell)}\nT}}' for cell in row))
        self.line('.TE\n.Pp')

    def prototype(self, space, unit):
        self.line(f'.Ft {quoted(unit.result)}\n.Fo {space}{unit.name}')
        for argument in unit.arguments:
            self.line(f'.Fa {quoted(argument)}')
        self.line('.Fc')

    def tag(self, unit, is_member):
        """A function of a class has its types here, any other one in the synopsis."""
        if unit.kind == 'function':
            name = f'{unit.result} {unit.name}'.strip() if is_member else unit.name
            arguments = [a if is_member else headers.argument_name(a) for a in unit.arguments]
            self.line('.It Fn ' + ' '.join(quoted(text) for text in [name, *arguments]))
        elif unit.kind == 'type':
            self.line(f'.It Vt {quoted(unit.code.rstrip(" {;"))}')
        else:
            self.line(f'.It {"Va" if unit.kind == "variable" else "Dv"} {quoted(unit.code)}')

    def reference(self, units, heading='.Ss'):
        """A list of units, and one in it for the members of each type."""
        is_open = False
        for unit in units:
            if unit.kind in ('section', 'text'):
                if is_open:
                    self.line('.El')
                is_open = False
                if unit.kind == 'section':
                    self.line(f'{heading} {unit.name}')
                else:
                    self.words(unit.doc)
                continue
            if not is_open:
                self.line('.Bl -tag -width Ds')
            is_open = True
            self.tag(unit, heading != '.Ss')
            self.arguments = {headers.argument_name(a) for a in unit.arguments}
            self.words(unit.doc)
            self.arguments = set()
            if unit.members:
                self.reference(unit.members, '.Pp\n.Sy')
        if is_open:
            self.line('.El')
