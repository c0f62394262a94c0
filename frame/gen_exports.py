#!/usr/bin/env python3
"""Generates everything that follows from the export list (frame/exports.list).

Outputs, all into one directory:
  zel/zel_api.h          public prototypes, grouped by family as in the list, each family under
                         a comment with its notes, check order and statuses
  zel_entry.S            one stub per export (endbr64; jmp *slot) and the slot table
  zel_placeholders.S     a weak alias of each implementation to a placeholder
  zeli.map               the linker's version script: the exports and nothing else
  zel_impl_sigs.h        parameter lists for ZEL_IMPL (internal)
  zel_export_table.inc   ZEL_EXPORT(name, family) rows for the tests and tools
"""
import os
import re
import sys
import textwrap

PROTO = re.compile(r'^(?P<ret>.+?)\s*\b(?P<name>zel[ir]\w+)\((?P<args>.*)\);?\s*$')
PARAM_NAME = re.compile(r'(\w+)\s*((?:\[[^\]]*\])*)\s*$')


class Export:
    def __init__(self, ret, name, args, family, index):
        self.ret, self.name, self.args, self.family, self.index = ret, name, args, family, index

    @property
    def prototype(self):
        return f'{self.ret} {self.name}({self.args});'

    def param_names(self):
        if self.args.strip() == 'void':
            return []
        names = []
        for p in split_params(self.args):
            m = PARAM_NAME.search(p)
            if not m:
                sys.exit(f'{self.name}: cannot read parameter "{p}"')
            names.append(m.group(1))
        return names

    @property
    def kind(self):
        """What a placeholder of this export returns: a status, a null pointer or nothing."""
        if self.ret == 'void':
            return 'void'
        return 'status' if self.ret == 'ZelStatus' else 'null'


def split_params(args):
    depth, cur, out = 0, '', []
    for ch in args:
        if ch in '([':
            depth += 1
        elif ch in ')]':
            depth -= 1
        if ch == ',' and depth == 0:
            out.append(cur.strip())
            cur = ''
        else:
            cur += ch
    if cur.strip():
        out.append(cur.strip())
    return out


class Family:
    """A "## Title" group of the list: its subsystem, its note lines and its exports."""

    def __init__(self, title, subsystem):
        self.title, self.subsystem, self.notes, self.exports = title, subsystem, [], []

    def text(self):
        return ' '.join(self.notes)

    def sentences(self):
        """The notes as sentences (a full stop followed by a capital or a parenthesis ends one)."""
        return [t for t in re.split(r'(?<=\.)\s+(?=[A-Z(])', self.text()) if t]

    def check_sentences(self):
        """The sentences that state what the family checks, and in which order."""
        return [t for t in self.sentences() if re.search(r'\b[Cc]heck', t)]

    def statuses(self, table):
        """The statuses the notes name, by name or by value, in the order they are first named.
        Within the check sentences, pointers, sizes and steps name their usual statuses."""
        by_value = {v: n for n, v, _ in table}
        found = []
        text = self.text()
        for m in re.finditer(r'\b(zelSts\w+)', text):
            found.append((m.start(), m.group(1)))
        for m in re.finditer(r'(?:^|[\s(])(-\d{1,3})\b|\bwarning (\d{1,2})\b', text):
            value = int(m.group(1) or m.group(2))
            if value in by_value:
                found.append((m.start(), by_value[value]))
        for sentence in self.check_sentences():
            at = text.find(sentence)
            for word, status in ((r'pointer|null', 'zelStsNullPtrErr'), (r'\bsizes?\b|width|height', 'zelStsSizeErr'),
                                 (r'\bsteps?\b', 'zelStsStepErr'), (r'identity', 'zelStsContextMatchErr')):
                m = re.search(word, sentence, re.I)
                if m and not (status == 'zelStsStepErr' and re.search(r'[Nn]o step|[Ss]teps are not', sentence)):
                    found.append((at + m.start(), status))
        known = {n for n, _, _ in table}
        out = []
        for _, name in sorted(found):
            if name in known and name not in out:
                out.append(name)
        return out


def read_families(path):
    """The families of the list in order. "### slug: Title" lines start a subsystem, "## Title"
    a family, "#" lines under a family title are its notes, other lines are prototypes."""
    families, subsystem, seen = [], None, set()
    index = 0
    for lineno, raw in enumerate(open(path), 1):
        line = raw.strip()
        if not line:
            continue
        if line.startswith('### '):
            m = re.match(r'### (\w+): (.+)$', line)
            if not m:
                sys.exit(f'{path}:{lineno}: a subsystem line reads "### slug: Title"')
            subsystem = (m.group(1), m.group(2).strip())
            continue
        if line.startswith('## '):
            families.append(Family(line[3:].strip(), subsystem))
            continue
        if line.startswith('#'):
            if families and not families[-1].exports:
                families[-1].notes.append(line.lstrip('#').strip())
            continue
        m = PROTO.match(line)
        if not m or not families:
            sys.exit(f'{path}:{lineno}: not a prototype inside a family: {line}')
        name = m.group('name')
        if name in seen:
            sys.exit(f'{path}:{lineno}: {name} listed twice')
        seen.add(name)
        families[-1].exports.append(Export(m.group('ret').strip(), name, m.group('args').strip(),
                                           families[-1].title, index))
        index += 1
    return families


def read_list(path):
    return [e for f in read_families(path) for e in f.exports]


def read_statuses(path):
    """(name, value, meaning) of every status of zeltypes.h, the meaning from its comment."""
    text = open(path).read()
    start = text.index('typedef int ZelStatus;')
    body = text[text.index('{', start) + 1:text.index('};', start)]
    table, comment = [], ''
    for m in re.finditer(r'/\*(.*?)\*/|\b(zelSts\w+)\s*=\s*(-?\d+)', body, re.S):
        if m.group(1) is not None:
            comment = ' '.join(m.group(1).split())
        else:
            table.append((m.group(2), int(m.group(3)), comment))
            comment = ''
    return table


def write(path, text):
    """Writes only when the content changes, so that an unchanged list rebuilds nothing."""
    if os.path.exists(path) and open(path).read() == text:
        return
    with open(path, 'w') as f:
        f.write(text)


CET_NOTE = """
    .section .note.gnu.property,"a"
    .p2align 3
    .long 4, 16, 5
    .asciz "GNU"
    .long 0xc0000002, 4, 3
    .p2align 3
    .section .note.GNU-stack,"",@progbits
"""


def comment_lines(lines, width=100):
    """Lines for a C block comment; no line may close the comment early."""
    out = []
    for line in lines:
        out += textwrap.wrap(line.replace('*/', '* /'), width - 3) or ['']
    return out


def gen_api(families):
    out = ['/* Generated from frame/exports.list: do not edit.',
           '   Each family of functions is introduced by its notes, the order in which it checks its',
           '   arguments and the statuses it returns; zeltypes.h says what each status means. */',
           '#ifndef ZEL_API_H', '#define ZEL_API_H', '', '#include "zel/zeltypes.h"', '',
           '#ifdef __cplusplus', 'extern "C" {', '#endif', '']
    for f in families:
        text = [f.title, ''] + f.notes
        if f.statuses_named:
            text += ['Statuses: ' + ', '.join(f.statuses_named) + '.']
        body = comment_lines(text)
        out.append('')
        out.append('/* ' + body[0])
        out += [('   ' + line).rstrip() for line in body[1:]]
        out[-1] += ' */'
        out += [e.prototype for e in f.exports]
    out += ['', '#ifdef __cplusplus', '}', '#endif', '', '#endif', '']
    return '\n'.join(out)


def gen_entry(exports):
    out = ['/* Generated from frame/exports.list: do not edit.',
           '   Each export is a stub that lands (endbr64) and jumps through its own slot. The slots',
           '   live in .data.rel.ro: the loader fills them with one relative relocation each and',
           '   RELRO makes them read-only afterwards. */',
           '    .text']
    for e in exports:
        out += [f'    .globl {e.name}', f'    .type {e.name}, @function', '    .p2align 4',
                f'{e.name}:', '    endbr64', f'    jmp *zel_slots+{8 * e.index}(%rip)',
                f'    .size {e.name}, .-{e.name}']
    out += ['', '    .section .data.rel.ro,"aw"', '    .p2align 6', '    .type zel_slots, @object',
            f'    .size zel_slots, {8 * len(exports)}', 'zel_slots:']
    for e in exports:
        out += [f'    .hidden n0_{e.name}', f'    .quad n0_{e.name}']
    return '\n'.join(out) + '\n' + CET_NOTE


def gen_placeholders(exports):
    out = ['/* Generated from frame/exports.list: do not edit.',
           '   Every implementation symbol starts as a weak alias of a placeholder; a family that is',
           '   implemented defines the strong symbol and the linker takes it instead. */']
    target = {'status': 'zel_placeholder_status', 'null': 'zel_placeholder_null', 'void': 'zel_placeholder_void'}
    # The placeholders themselves: they read no argument and write nothing.
    out += ['    .text', '    .p2align 4']
    for sym, body in [('zel_placeholder_status', ['    movl $-14, %eax']),  # zelStsNotSupportedModeErr
                      ('zel_placeholder_null', ['    xorl %eax, %eax']),
                      ('zel_placeholder_void', [])]:
        out += [f'    .hidden {sym}', f'    .type {sym}, @function', f'{sym}:', '    endbr64'] + body + \
               ['    ret', f'    .size {sym}, .-{sym}']
    for e in exports:
        out += [f'    .weak n0_{e.name}', f'    .hidden n0_{e.name}', f'    .set n0_{e.name}, {target[e.kind]}']
    return '\n'.join(out) + '\n' + CET_NOTE


def gen_map(exports):
    return '{\n  global:\n' + ''.join(f'    {e.name};\n' for e in exports) + '  local:\n    *;\n};\n'


def gen_sigs(exports):
    out = ['/* Generated from frame/exports.list: do not edit.',
           '   For each export X: ZEL_RET_X, ZEL_PARAMS_X (the parameter list) and ZEL_ARGS_X',
           '   (the argument names), read by ZEL_IMPL. */']
    for e in exports:
        names = e.param_names()
        out.append(f'#define ZEL_RET_{e.name} {e.ret}')
        out.append(f'#define ZEL_PARAMS_{e.name} ({e.args})')
        out.append(f'#define ZEL_ARGS_{e.name} ({", ".join(names)})')
    return '\n'.join(out) + '\n'


def gen_table(exports):
    return ''.join(f'ZEL_EXPORT({e.name}, "{e.family}", {e.kind})\n' for e in exports)


def main():
    src, statuses, outdir = sys.argv[1], sys.argv[2], sys.argv[3]
    families = read_families(src)
    table = read_statuses(statuses)
    for f in families:
        f.statuses_named = f.statuses(table)
    exports = [e for f in families for e in f.exports]
    os.makedirs(os.path.join(outdir, 'zel'), exist_ok=True)
    write(os.path.join(outdir, 'zel', 'zel_api.h'), gen_api(families))
    write(os.path.join(outdir, 'zel_entry.S'), gen_entry(exports))
    write(os.path.join(outdir, 'zel_placeholders.S'), gen_placeholders(exports))
    write(os.path.join(outdir, 'zeli.map'), gen_map(exports))
    write(os.path.join(outdir, 'zel_impl_sigs.h'), gen_sigs(exports))
    write(os.path.join(outdir, 'zel_export_table.inc'), gen_table(exports))


if __name__ == '__main__':
    main()
