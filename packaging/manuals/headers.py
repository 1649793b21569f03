# SPDX-License-Identifier: MIT
"""Reads the public headers: what they declare, each with the comment above it."""
import dataclasses
import re


@dataclasses.dataclass
class Unit:
    kind: str  # function, type, constant, variable, section or text
    name: str
    code: str = ''
    doc: list = dataclasses.field(default_factory=list)
    result: str = ''
    arguments: list = dataclasses.field(default_factory=list)
    members: list = dataclasses.field(default_factory=list)
    joined: bool = False  # shares the comment of the unit before it


def names_of(units, space):
    """The functions, and the types of a namespace: others have names that may be other packages' pages."""
    return [space + unit.name for unit in units if unit.kind == 'function' or (space and unit.kind == 'type')]


def split(text):
    """The parts of a list, separated by commas outside all brackets."""
    parts, depth = [''], 0
    for at in text:
        depth += (at in '([{<') - (at in ')]}>')
        if at == ',' and depth == 0:
            parts.append('')
        else:
            parts[-1] += at
    return [part.strip() for part in parts if part.strip()]


def argument_name(argument):
    """The name in "const char (&letters)[5]" or "int size = 0"."""
    inner = re.search(r'\(&(\w+)\)', argument)
    return inner.group(1) if inner else re.findall(r'[\w.]+', re.sub(r'\s*(=|\[).*', '', argument))[-1]


def function(code):
    """The unit of a function's declaration, or none if it is something else."""
    code = re.sub(r'\[\[.*?\]\]\s*', '', code)
    plain = code
    while (less := re.sub(r'<[^<>]*>', lambda m: '_' * len(m.group()), plain)) != plain:
        plain = less  # of the same length, without the brackets of templates
    found = re.match(r'([^=(]*?)(~?\w+|operator\W+)\(', plain)
    if not found or code.startswith('using '):
        return None
    depth, end = 1, found.end()
    while depth:
        depth += {'(': 1, ')': -1}.get(code[end], 0)
        end += 1
    result = re.sub(r'\b(explicit|inline|constexpr|virtual) ', '', code[:found.start(2)]).strip()
    return Unit('function', code[found.start(2):found.end(2)], code, result=result,
                arguments=split(code[found.end():end - 1]))


def classify(code):
    code = re.sub(r'\s+', ' ', code).strip()
    declared = re.match(r'(template <.*?> )?(struct|class|enum class|enum) (\[\[nodiscard\]\] )?(\w+)', code)
    if declared:
        return Unit('type', declared.group(4), re.sub(r'\[\[nodiscard\]\] ', '', code))
    if unit := function(code):
        return unit
    if alias := re.match(r'using (\w+)', code):
        return Unit('type', alias.group(1), code)
    code = re.sub(r'^(inline |static )*constexpr ', '', code)
    kind = 'variable' if code.startswith('extern') else 'constant'
    return Unit(kind, re.findall(r'\w+', re.split(r'[=\[{]', code)[0])[-1], code.rstrip(';'))


def is_shown(unit):
    if 'delete' in unit.code or unit.code.startswith(('friend ', 'static_assert')) or unit.name.startswith('operator'):
        return False
    if unit.kind == 'type' and unit.code.endswith(';') and not unit.doc and 'using' not in unit.code:
        return '{' in unit.code or 'enum' in unit.code
    return bool(unit.doc) or unit.result != '' or unit.kind != 'function'  # no plain constructors


def enumerators(lines):
    """The members of an enumeration, one a line or several."""
    units, doc = [], []
    for line in lines:
        code, _, comment = line.partition('//')
        if not code.strip() and comment.startswith('/<') and units:
            units[-1].doc.append(comment[2:])
        elif not code.strip():
            doc += [comment[1:]] if comment.startswith('/') else []
        for part in split(code):
            units.append(Unit('constant', part, part, doc))
            doc = []
        if code.strip() and comment.startswith('/<'):
            units[-1].doc = [comment[2:]]
    return units


def parse_lines(lines):
    units, doc, code, close = [], [], [], True
    at = 0
    while at < len(lines):
        line = lines[at].strip()
        at += 1
        if line in ('private:',) or line.startswith('} // namespace'):
            break
        if section := re.match(r'// --- (.*?) -+$', line):
            units.append(Unit('section', section.group(1)))
        elif line.startswith('///<'):
            units[-1].doc.append(line[4:])
        elif line.startswith('///'):
            doc.append(line[3:])
        elif line.startswith('//') and not doc and not code:
            if units and units[-1].kind == 'text':
                units[-1].doc.append(line[2:])
            else:
                units.append(Unit('text', '', doc=[line[2:]]))
        elif not line or line.startswith(('#', 'namespace ', '//')) or line in ('public:', 'protected:'):
            close = False
        else:
            begins, _, comment = line.partition('//')
            code.append(begins.strip())
            whole = ' '.join(code)
            indent = lines[at - 1][:len(lines[at - 1]) - len(lines[at - 1].lstrip())]
            body = []
            if whole.endswith('{'):
                while lines[at].rstrip() not in (indent + '}', indent + '};'):
                    body.append(lines[at])
                    at += 1
                at += 1
            elif not whole.endswith((';', '}')):
                continue
            unit = classify(whole)
            unit.doc = doc + ([comment[2:]] if comment.startswith('/<') else [])
            if unit.kind == 'type' and body:
                unit.members = enumerators(body) if 'enum' in unit.code else parse_lines(body)
            unit.joined = close and not doc and bool(units) and units[-1].kind == unit.kind == 'function'
            if is_shown(unit):
                units.append(unit)
            doc, code, close = [], [], True
    return units


def parse(text):
    """The comment at the top of a header, and its units."""
    lines = text.splitlines()[1:]
    start = next(i for i, line in enumerate(lines) if not line.startswith('//'))
    return [line[2:] for line in lines[:start]], parse_lines(lines[start:])
