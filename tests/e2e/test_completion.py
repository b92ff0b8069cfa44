"""What bash and zsh complete, held against what the programs take."""

import pathlib
import re
import shutil
import subprocess
import unittest

from support import HUB, ROOT, EndToEndTest

COMPLETION = ROOT / "completion"

BASH = """
source "$0"; compopt() { :; }
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE=$* COMP_POINT=${#COMP_LINE}
"_$(basename "${0%.bash}" | tr - _)" "$1"
[ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' "${COMPREPLY[@]}"
"""

# The functions of zsh's completion system say what they are asked for.
ZSH = """
setopt extendedglob
_call_program() { shift; "$@" }
_arguments() { print -rl -- "$@" "subcommand "${^subcommands%%:*} }
complete() { local words=("$@") CURRENT=$#; source $ZSH_ARGZERO }
complete "$@"
"""


# What is offered behind the socket.
ZSH_ORDERS = ZSH.replace("complete \"$@\"", 'compadd() { shift ${@[(i)--]}; print -rl -- "$@" }\n'
                         'source $ZSH_ARGZERO >/dev/null; program=$1; shift; words=("$@") CURRENT=$#; _kelvane-hub_orders')


def offered(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=True, timeout=60)
    if done.stderr:
        raise AssertionError(done.stderr)
    return done.stdout.splitlines()


def bash(program, *words):
    return offered("bash", "-c", BASH, COMPLETION / f"{program}.bash", *words)


def zsh(*words):
    return offered("zsh", "-f", "-c", ZSH, COMPLETION / "_kelvane-hub", HUB, *words)


def zsh_orders(*words):
    return offered("zsh", "-f", "-c", ZSH_ORDERS, COMPLETION / "_kelvane-hub", HUB, *words)


class CompletionTest(EndToEndTest):
    def help(self, *command):
        return self.hub_command(*command, "--help")[1]

    def commands(self):
        return re.findall(r"^  ([a-z]+) ", self.help().partition("\nSubcommands:\n")[2], re.M)

    def options(self, *command):
        """The long names."""
        return re.findall(r"^  (?:-\w,)?(--[a-z-]+)", self.help(*command), re.M)

    def test_keys(self):
        keys = set(re.findall(r'argument_or_default\(arguments, "(\w+)"\)', (ROOT / "cli/automation.cpp").read_text()))
        self.assertEqual({key + "=" for key in keys}, set(bash("cellscope", "cellscope", "")))
        self.assertEqual(keys, set(re.findall(r"^  '(\w+)\[", (COMPLETION / "_cellscope").read_text(), re.M)))

    def test_bash(self):
        self.assertIn("serve", self.commands())
        self.assertEqual(self.commands(), bash("kelvane-hub", HUB, ""))
        for command in ([], *([name] for name in self.commands())):
            with self.subTest(command):
                self.assertEqual(self.options(*command), bash("kelvane-hub", HUB, *command, "--"))

    def test_bash_for_run(self):
        pathlib.Path("a.textproto").touch()
        for words, expected in (("a", ["a.textproto"]), ("a.textproto --speed ", ["max"]), ("a.textproto -- a", None),
                                ("a.textproto -- cat a", ["a.textproto"])):
            shown = bash("kelvane-hub", HUB, "run", *words.split(" "))
            self.assertEqual(expected, [word for word in shown if "/" not in word] if expected else None, words)
            self.assertTrue(expected or "awk" in shown)

    def test_orders(self):
        hub = self.serve("steps { at: 0 cells { cells { cell_type: 3 lte {} } } }")
        self.hub_command("control", "hub.sock", "step", "cells { cells { cell_type: 3 lte {} } }")
        orders = re.findall(r"^([a-z]+) ", self.hub_command("control", "hub.sock", "help")[1], re.M)
        self.assertIn("set", orders)
        self.assertEqual(orders, bash("kelvane-hub", HUB, "control", "hub.sock", ""))
        self.assertEqual(["rsrp=", "rsrq=", "rssnr="], bash("kelvane-hub", HUB, "control", "hub.sock", "set", "rs"))
        self.assertEqual(["delay="], bash("kelvane-hub", HUB, "control", "hub.sock", "fault", "del"))
        if shutil.which("zsh"):
            self.assertEqual(orders, zsh_orders("control", "hub.sock", ""))
            self.assertIn("delay=", zsh_orders("control", "hub.sock", "fault", "de"))
            self.assertIn("rsrp=", zsh_orders("control", "hub.sock", "set", "rs"))
        self.stop(hub)

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
    def test_zsh(self):
        self.assertEqual(self.commands(), re.findall(r"^subcommand (.*)", "\n".join(zsh("")), re.M))
        for command in ([], *([name] for name in self.commands())):
            with self.subTest(command):
                self.assertEqual(self.options(*command),
                                 re.findall(r"^(?:\(.*\)|\*)(--[a-z-]+)=?\[", "\n".join(zsh(*command, "")), re.M))
