"""Builds the package from this source tree: its declarations are generated from the public
headers (../include) and the link reference (../docs) while it is built, as the CMake build does.
The libraries and tools it loads and starts are found under CIRROW_HOME (an install prefix), else
by the dynamic loader and on PATH."""
import os
import subprocess
import sys

from setuptools import setup
from setuptools.command.build_py import build_py

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)


class BuildWithDeclarations(build_py):
    def run(self):
        super().run()
        out = os.path.join(self.build_lib, "cirrow", "_declarations.py")
        subprocess.run([sys.executable, os.path.join(HERE, "gen_declarations.py"),
                        "--include", os.path.join(SOURCE, "include"),
                        "--platform", os.path.join(SOURCE, "platform", "include"),
                        "--link-reference", os.path.join(SOURCE, "docs", "link_reference.md"),
                        "--out", out], check=True)


setup(cmdclass={"build_py": BuildWithDeclarations})
