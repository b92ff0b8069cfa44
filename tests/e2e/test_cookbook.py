"""Runs each recipe of docs/cookbook.md: a sh block has to print the text block right after it, or nothing.

In that text … stands for anything, alone in a line for any number of lines; log times vary. The blocks of a recipe share
a shell with those that stand before the first recipe. The client writes to output/ here.
"""

import contextlib
import os
import pathlib
import re
import signal
import subprocess

from support import CLIENT, DEADLINE, HUB, LOG_TIME, EndToEndTest, without_times

PROJECT = pathlib.Path(__file__).resolve().parents[2]


def pattern(text):
    escaped = re.escape(re.sub(r"Log Time: \d+", LOG_TIME, text))
    return re.sub(r"^…\\\n", "(?:.*\n)*", escaped, flags=re.MULTILINE).replace("…", ".*")


class CookbookTest(EndToEndTest):

    def run_shell(self, commands):
        os.mkdir("build")
        os.symlink(CLIENT, "build/cellscope")
        os.symlink(HUB, "build/kelvane-hub")
        os.symlink(PROJECT / "scenarios", "scenarios")
        shell = subprocess.Popen(["bash", "-c", "unset ${!KELVANE_HUB*}\n" + commands], stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                                 env={**os.environ, "TMPDIR": os.getcwd(), "LC_ALL": "C.UTF-8"})
        with shell:
            try:
                return without_times(shell.communicate(timeout=DEADLINE)[0])
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(shell.pid, signal.SIGKILL)

    def cook(self, number):
        cookbook = (PROJECT / "docs/cookbook.md").read_text(encoding="utf-8").replace("/data/APT_Automation", "output")
        before, *recipes = re.split(r"^## \d+\. .*\n", cookbook, flags=re.MULTILINE)
        self.assertEqual(len([name for name in dir(self) if name.startswith("test_recipe_")]), len(recipes))
        blocks = re.findall(r"^```sh\n(.*?)^```\n(?:\n```text\n(.*?)^```\n)?", before + recipes[number - 1],
                            re.MULTILINE | re.DOTALL)
        printed = self.run_shell("printf '\\0'\n".join(commands for commands, _ in blocks)).split("\0")
        self.assertEqual(len(blocks), len(printed), printed)
        for (commands, expected), shown in zip(blocks, printed):
            if not re.fullmatch(pattern(expected), shown):
                self.assertEqual(expected, shown, commands)

    def test_recipe_1(self):
        self.cook(1)

    def test_recipe_2(self):
        self.cook(2)

    def test_recipe_3(self):
        self.cook(3)

    def test_recipe_4(self):
        self.cook(4)

    def test_recipe_5(self):
        self.cook(5)

    def test_recipe_6(self):
        self.cook(6)

    def test_recipe_7(self):
        self.cook(7)

    def test_recipe_8(self):
        self.cook(8)

    def test_recipe_9(self):
        self.cook(9)

    def test_recipe_10(self):
        self.cook(10)
