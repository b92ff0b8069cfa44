"""Runs each recipe of docs/cookbook.md: a sh block has to print the text block right after it, or nothing.

In that text … stands for anything, alone in a line for any number of lines; log times vary. The blocks of a recipe share
a shell with those that stand before the first recipe. The client writes to output/ here.
"""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess

from support import CLIENT, DEADLINE, HUB, LOG_TIME, ROOT, EndToEndTest, without_times

COOKBOOK = (ROOT / "docs/cookbook.md").read_text(encoding="utf-8").replace("/data/APT_Automation", "output")
BEFORE, *RECIPES = re.split(r"^## \d+\. .*\n", COOKBOOK, flags=re.MULTILINE)


def pattern(text):
    escaped = re.escape(re.sub(r"Log Time: \d+", LOG_TIME, text))
    return re.sub(r"^…\\\n", "(?:.*\n)*", escaped, flags=re.MULTILINE).replace("…", ".*")


class CookbookTest(EndToEndTest):

    def run_shell(self, commands):
        os.mkdir("build")
        os.symlink(CLIENT, "build/cellscope")
        os.symlink(HUB, "build/kelvane-hub")
        os.symlink(pathlib.Path(HUB).with_name("kelvane.lua"), "build/kelvane.lua")
        os.symlink(ROOT / "scenarios", "scenarios")
        shell = subprocess.Popen(["bash", "-c", "unset ${!KELVANE_HUB*}\n" + commands], stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                                 env={**os.environ, "TMPDIR": os.getcwd(), "LC_ALL": "C.UTF-8"})
        with shell:
            try:
                return without_times(shell.communicate(timeout=DEADLINE)[0])
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(shell.pid, signal.SIGKILL)

    def cook(self, recipe):
        if "tshark -X" in recipe and not shutil.which("tshark"):
            self.skipTest("there is no tshark")
        blocks = re.findall(r"^```sh\n(.*?)^```\n(?:\n```text\n(.*?)^```\n)?", BEFORE + recipe, re.MULTILINE | re.DOTALL)
        printed = self.run_shell("printf '\\0'\n".join(commands for commands, _ in blocks)).split("\0")
        self.assertEqual(len(blocks), len(printed), printed)
        for (commands, expected), shown in zip(blocks, printed):
            if not re.fullmatch(pattern(expected), shown):
                self.assertEqual(expected, shown, commands)


for _number, _recipe in enumerate(RECIPES, 1):
    setattr(CookbookTest, f"test_recipe_{_number}", lambda self, recipe=_recipe: self.cook(recipe))
