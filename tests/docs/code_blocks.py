#!/usr/bin/env python3
"""The code blocks of a page, as one program a language.

usage: code_blocks.py PAGE source            print the C++ program
       code_blocks.py PAGE run BIN PROGRAM   run that program, and the Python one, on the demo's
                                             devices, and compare what they print

A program has the page's lines, with all but its own blocks blank, so that whatever is wrong is told
by the line of the page. In C++ the blocks are the body of main(), and `#include` lines stand in
front of it. A `text` block is what each block right before it prints, white space aside; a block
without one prints nothing.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

import demo_devices

FENCE = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
END = "\f"  # printed after each block
PRINT_END = {"cpp": 'std::puts("\\f");', "python": 'print("\\f", flush=True)'}
MAIN = """{includes}
int main() {{
#line 1 "{page}"
{body}
}}
"""
RUN_PYTHON = "import sys; exec(compile(sys.stdin.read(), sys.argv[1], 'exec'), {})"
SECONDS = 120


def program(text, language):
    """The blocks of one language, each line where the page has it."""
    lines = [""] * (text.count("\n") + 1)
    for fence in FENCE.finditer(text):
        if fence[1] == language:
            first = text.count("\n", 0, fence.start(2))
            block = fence[2].splitlines() + [PRINT_END[language]]
            lines[first:first + len(block)] = block
    return lines


def outputs(text, language):
    """What each block of a language prints: pairs of the block's line and the text."""
    found, group, end = [], [], 0
    for fence in FENCE.finditer(text):
        if text[end:fence.start()].strip():
            group = []
        end = fence.end()
        if fence[1] == "text":
            for block in group:
                block[1] = fence[2]
        else:
            group.append([text.count("\n", 0, fence.start()) + 1, ""])
            if fence[1] == language:
                found.append(group[-1])
    return found


def cpp_source(page, text):
    lines = program(text, "cpp")
    includes = [line for line in lines if line.startswith("#include")]
    body = ["" if line in includes else line for line in lines]
    return MAIN.format(includes="\n".join(includes), page=page, body="\n".join(body))


def faults(page, text, language, programs, command):
    """What is wrong with a language's program, which runs on devices of its own."""
    source = "\n".join(program(text, language))
    with demo_devices.attached(programs), \
            tempfile.TemporaryDirectory(prefix="zlk-blocks-") as folder:
        run = subprocess.run(command, input=source, stdout=subprocess.PIPE, text=True, cwd=folder,
                             timeout=SECONDS, check=False)
    if run.returncode != 0:
        yield f"{page}: the {language} program ended with status {run.returncode}"
    expected = outputs(text, language)
    printed = run.stdout.split(END + "\n")
    if len(printed) != len(expected) + 1:
        yield f"{page}: {len(printed) - 1} of {len(expected)} {language} blocks ran"
    for (line, shown), got in zip(expected, printed):
        if "".join(got.split()) != "".join(shown.split()):
            yield f"{page}:{line}: the {language} block printed\n{got}"


def main():
    page = pathlib.Path(sys.argv[1])
    text = page.read_text(encoding="utf-8")
    if sys.argv[2] == "source":
        print(cpp_source(page, text), end="")
        return 0
    programs, compiled = (pathlib.Path(word).resolve() for word in sys.argv[3:5])
    found = [*faults(page, text, "cpp", programs, [compiled]),
             *faults(page, text, "python", programs, [sys.executable, "-c", RUN_PYTHON, page])]
    print(*found, sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
