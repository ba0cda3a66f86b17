"""Every option that a program has is in its manual page, and no other.

Called with the folder of the pages and the programs.
"""

import pathlib
import re
import subprocess
import sys


def options(text):
    return set(re.findall(r"--[a-z][a-z-]*", text))


def main():
    folder, *programs = map(pathlib.Path, sys.argv[1:])
    for program in programs:
        described = subprocess.run([program, "--help"], capture_output=True, text=True, check=True)
        page = (folder / f"{program.name}.1").read_text().replace(r"\-", "-")
        # Examples may call other programs.
        page = page.partition(".SH OPTIONS")[2].partition("\n.SH")[0]
        assert options(described.stdout), program.name
        difference = options(described.stdout) ^ options(page)
        assert not difference, f"{program.name}: {sorted(difference)}"


if __name__ == "__main__":
    main()
