#!/usr/bin/env python3
"""Writes the reference documentation of the interface from the export list and the status table.

    gen_reference.py EXPORTS_LIST ZELTYPES_H OUTDIR           write the pages into OUTDIR
    gen_reference.py --check EXPORTS_LIST ZELTYPES_H OUTDIR   fail when OUTDIR differs from them

One Markdown page per subsystem ("### slug: Title" in the list), OUTDIR/<slug>.md, with each
family's notes, check order, statuses and prototypes, and an index, OUTDIR/README.md, with the
conventions, the subsystems and the whole status table. The pages are committed; the check keeps
them equal to what the list gives.
"""
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import gen_exports  # noqa: E402

REGENERATE = 'cmake --build build --target reference'
GENERATED = ('<!-- Generated from frame/exports.list and include/zel/zeltypes.h by '
             f'`{REGENERATE}`: do not edit. -->')


def anchor(title):
    """The fragment a Markdown renderer gives a heading: lower case, punctuation dropped."""
    return re.sub(r'[^a-z0-9_ -]', '', title.lower()).replace(' ', '-')


def code(text):
    """Running text as Markdown: the names of the interface and <placeholders> as code, and the
    other characters that Markdown would read as emphasis escaped."""
    out = []
    for i, part in enumerate(re.split(r'(`[^`]*`)', text)):
        if i % 2:
            out.append(part)
            continue
        part = re.sub(r'(?<![`\w])(\S*<\w+>\S*?(?=[;,.]?(?:\s|$))|(?:zel[ir]?|Zel|Zeli)[A-Z]\w*|\*?p[A-Z]\w*\b(?=[ ,.;:)]))',
                      r'`\1`', part)
        pieces = re.split(r'(`[^`]*`)', part)
        for j in range(0, len(pieces), 2):
            pieces[j] = re.sub(r'(?<![\w\\])_', r'\\_', pieces[j].replace('*', r'\*'))
        out.append(''.join(pieces))
    return ''.join(out)


def paragraphs(f, skip):
    """The family's notes without the sentences in skip, as paragraphs: a note line that starts
    with "Design:" starts a new paragraph."""
    paras, cur = [], []
    for line in f.notes:
        if line.startswith('Design:') and cur:
            paras.append(' '.join(cur))
            cur = []
        cur.append(line)
    if cur:
        paras.append(' '.join(cur))
    out = []
    for p in paras:
        for s in skip:
            p = p.replace(s, '')
        p = ' '.join(p.split())
        if p:
            out.append(code(p))
    return out


def family_section(f, table):
    meaning = {n: (v, m) for n, v, m in table}
    checks = f.check_sentences()
    lines = [f'## {code(f.title)}', '']
    for p in paragraphs(f, checks):
        lines += [p, '']
    said = ' '.join(checks)
    said = said[len('Checks: '):] if said.startswith('Checks: ') else said
    lines += ['**Check order.** ' + (code(said if re.match(r'p[A-Z]', said) else said[:1].upper() + said[1:]) if checks else 'Not written down yet.'), '']
    statuses = f.statuses(table)
    if statuses:
        lines += ['| Status | Value | Meaning |', '|---|---|---|']
        lines += [f'| `{n}` | {meaning[n][0]} | {meaning[n][1]} |' for n in statuses]
        lines.append('')
    count = len(f.exports)
    lines += [f'**{count} function{"s" if count != 1 else ""}**', '', '```c']
    lines += [e.prototype for e in f.exports]
    lines += ['```', '']
    return lines


def subsystems(families):
    """Subsystems in order of first appearance, each with its families in list order."""
    order = {}
    for f in families:
        if f.subsystem is None:
            sys.exit(f'family "{f.title}" comes before the first subsystem line')
        order.setdefault(f.subsystem, []).append(f)
    return order


def subsystem_page(sub, fams, table):
    slug, title = sub
    n = sum(len(f.exports) for f in fams)
    lines = [GENERATED, '', f'# {title}', '',
             f'[Index](README.md) · {len(fams)} families, {n} functions. Statuses are listed with '
             'their meanings; every call returns `zelStsNoErr` (0) on success, and a function that '
             'is not implemented yet returns `zelStsNotSupportedModeErr` and writes nothing.', '']
    lines += [f'- [{code(f.title)}](#{anchor(f.title)})' for f in fams]
    lines.append('')
    for f in fams:
        lines += family_section(f, table)
    return '\n'.join(lines).rstrip('\n') + '\n'


def header_paragraphs(path):
    """The paragraphs of the comment at the top of the export list."""
    paras, cur = [], []
    for raw in open(path):
        line = raw.strip()
        if not line.startswith('#') or line.startswith('##'):
            break
        text = line[1:].strip()
        if not text:
            if cur:
                paras.append(' '.join(cur))
            cur = []
        else:
            cur.append(text)
    if cur:
        paras.append(' '.join(cur))
    return paras


def index_page(listpath, subs, table):
    lines = [GENERATED, '', '# zel reference', '',
             'Every exported function of `libzeli`, family by family: what the family computes, the '
             'order in which it checks its arguments, the statuses it returns and the prototypes. '
             'Include `<zel/zel.h>`; the same notes head each family in the installed `zel/zel_api.h`.',
             '', '## Conventions', '']
    lines += [code(p) for p in header_paragraphs(listpath) if p.startswith('Names follow')]
    lines += ['', '## Subsystems', '', '| Subsystem | Families | Functions |', '|---|---|---|']
    for (slug, title), fams in subs.items():
        n = sum(len(f.exports) for f in fams)
        lines.append(f'| [{title}]({slug}.md) | {len(fams)} | {n} |')
    lines += ['', '## Statuses', '',
              'Every call returns a `ZelStatus`: 0 on success, a negative error (nothing was written) '
              'or a positive warning (the call did what it could).', '',
              '| Value | Status | Meaning |', '|---|---|---|']
    lines += [f'| {v} | `{n}` | {m} |' for n, v, m in table]
    return '\n'.join(lines) + '\n'


def pages(listpath, typespath):
    families = gen_exports.read_families(listpath)
    table = gen_exports.read_statuses(typespath)
    subs = subsystems(families)
    out = {'README.md': index_page(listpath, subs, table)}
    for sub, fams in subs.items():
        out[f'{sub[0]}.md'] = subsystem_page(sub, fams, table)
    return out


def main():
    args = sys.argv[1:]
    check = args[:1] == ['--check']
    if check:
        args = args[1:]
    if len(args) != 3:
        sys.exit(__doc__)
    listpath, typespath, outdir = args
    want = pages(listpath, typespath)
    if check:
        have = set(os.listdir(outdir)) if os.path.isdir(outdir) else set()
        stale = sorted(n for n, text in want.items()
                       if n not in have or open(os.path.join(outdir, n)).read() != text)
        stale += sorted(n for n in have - set(want) if n.endswith('.md'))
        if stale:
            sys.exit(f'{outdir}: out of date with the export list ({", ".join(stale)}); '
                     f'regenerate with: {REGENERATE}')
        return
    os.makedirs(outdir, exist_ok=True)
    for n in os.listdir(outdir):
        if n.endswith('.md') and n not in want:
            os.remove(os.path.join(outdir, n))
    for n, text in want.items():
        gen_exports.write(os.path.join(outdir, n), text)


if __name__ == '__main__':
    main()
