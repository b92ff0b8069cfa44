"""The documents against the programs and their sources: each names what there is, and nothing else."""

import pathlib
import re
import subprocess

from support import CLIENT, EndToEndTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FLOORS = ("events", "requests", "session", "thresholds", "cli")  # those that print
MARKDOWN = [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]


def read(*patterns):
    return "\n".join(path.read_text() for pattern in patterns for path in ROOT.glob(pattern))


def page(name):
    return re.sub(r"\\(.)", r"\1", read(f"man/{name}.scd"))


def found(pattern, text):
    return set(re.findall(pattern, text, re.M))


def sections(text):
    """What stands below each heading."""
    parts = re.split(r"^#+ (.*)\n", text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def messages():
    """Type and name of the fields of each message, those of messages inside it too."""
    parts = re.split(r"^message (\w+)", read("proto/*.proto", "hub/scenario.proto"), flags=re.M)
    return {name: found(r"^ +(?:optional |repeated )?([\w.]+) (\w+) = \d+", body)
            for name, body in zip(parts[1::2], parts[2::2])}


class DocumentsTest(EndToEndTest):
    def test_commands_options_and_variables_of_the_hub(self):
        helps = {"OPTIONS": self.hub_command("--help")[1]}
        commands = found(r"^  (\w+) ", helps["OPTIONS"].partition("Subcommands:")[2])
        helps.update((command, self.hub_command(command, "--help")[1]) for command in commands)
        options = {name: found(r"^  (-\S+)", text) - ({"-h,--help"} if name in commands else set())
                   for name, text in helps.items()}
        manual = page("kelvane-hub.1")
        self.assertEqual(commands, found(r"^## (\w+)", manual))
        self.assertEqual(options, {name: {option.replace("*", "").replace(", ", ",") for option in found(
            r"^(\*-[-\w]+\*(?:, \*-[-\w]+\*)?)", sections(manual)[name])} for name in options})
        variables = found(r'"(KELVANE_\w+)"', read("*/*.cpp", "*/*/*.cpp"))
        self.assertEqual(variables, found(r"^\*(\w+)\*$", sections(manual)["ENVIRONMENT"]))
        self.assertLessEqual(found(r"KELVANE_HUB_\w+", page("cellscope.1") + read("*.md", "docs/*.md")), variables)
        for command, used in found(r"kelvane-hub\*? \*?([a-z]+)\b(.*--[a-z].*)", page("*") + read("*.md", "docs/*.md")):
            self.assertLessEqual(found(r"--[a-z]+", used), found(r"--\w+", helps[command]), command)

    def test_menu_and_keys_of_the_client(self):
        manual = page("cellscope.1")
        menu, usage = (subprocess.check_output([CLIENT, *arguments], input="-1", text=True, timeout=60)
                       for arguments in ([], ["operation=0"]))
        self.assertEqual([line.strip() for line in menu.splitlines() if line.startswith("Enter")],
                         re.findall(r"^\*(Enter .*)\*$", manual, re.M))
        keys = found(r"(\w+)=<", usage) | found(r'\(arguments, "(\w+)"', read("cli/*.cpp"))
        self.assertEqual(keys, found(r"^\*(\w+)\*=", manual))

    def test_texts_of_the_client(self):
        manual = page("cellscope.1")
        sources = re.sub("#include.*|//.*", "", read(*(f"{folder}/*.cpp" for folder in FLOORS)))
        self.assertEqual({f"{function}:{line}" for function, line in found(r'"(\w+)",\s+(\d+)', sources)},
                         found(r"^(\w+:\d+), ", manual))
        texts = {text for text in found(r'"((?:[^"\\\n]|\\.)*)"', sources) if re.search("[ :]", text)}
        pieces = {piece.strip() for text in texts for piece in re.split(r"%[a-z]*|\\n", text)}
        self.assertEqual(set(), {piece for piece in pieces if piece not in manual})

    def test_fields_of_scenarios(self):
        fields = messages()
        reached, ahead = set(), {"scenario"}
        while ahead:
            reached |= ahead
            ahead = {kind for name in ahead for kind, _ in fields[name] if kind in fields} - reached
        described = {name: found(r"\*(\w+)\*(?!\()", text)
                     for name, text in sections(page("kelvane-scenario.5")).items() if name.islower()}
        self.assertEqual({name: {field for _, field in fields[name]} for name in reached}, described)

    def test_examples_of_scenarios(self):
        examples = {block for block in found(r"^```\w*\n([^`]*)^```|((?:^    .*\n)+)", page("*") + read("*.md"))
                    if re.search(r"^ *steps \{", "".join(block), re.M)}
        self.assertGreater(len(examples), 4)
        for example in examples:
            pathlib.Path("example").write_text("".join(example))
            self.assertEqual((0, ""), self.hub_command("check", "example")[::2], example)

    def test_numbers(self):
        protocol = read("docs/protocol.md")
        rows = found(r"^\| (\d+) \| `(\w+)` \| `(\w+)` \|", protocol)
        self.assertEqual(found(r"(\w+) = (\d+)[,;]", read("*/message_ids.h", "hub/messages/catalogue.h")),
                         {(name, number) for number, *names in rows for name in names})
        self.assertLessEqual(found(r"`((?:sns|mox)_\w+)`", protocol), set(messages()))
        self.assertEqual(re.findall(r" = (\d+),", read("hub/messages/errors.h")),
                         re.findall(r"^\|  (\d+)$", page("kelvane-hub.1"), re.M))
        source = read("hub/messages/measurements.cpp")
        for name, bounds in found(r"Range (\w+)(\{.*\});", source):
            source = source.replace(f" {name},", f" {bounds},")
        self.assertEqual(found(r"\{(\w+), (\w+), \{(-?\d+), (-?\d+)\}", source),
                         found(r"^\|  (\w+)\n:  (\w+)\n:  (-?\d+) to (-?\d+) dB", page("kelvane-hub.1")))

    def test_globals_and_floors(self):
        architecture = sections(read("docs/architecture.md"))
        self.assertEqual(found(r"^extern .*?(\w+);", read("common/state.h")),
                         found(r"^\| `(\w+)` \|", architecture["Threads"]))
        floors = {(number, folder.removesuffix("/kelvane")) for folders, number in
                  found(r"^ +([a-z_/ |]+)\) echo (\d+)", read("scripts/lint")) for folder in folders.split(" | ")}
        self.assertEqual(floors - {("1", "kelvane")},
                         found(r"^\| (\d+) \| `([\w/]+)/`", architecture["The house, floor by floor"]))

    def test_files_that_are_named(self):
        for path in MARKDOWN:
            text = path.read_text()
            names = found(r"`((?!build)\.?\w[-\w.]*/[-\w./]*)[^`]*`", text) | found(r"\bscripts/[-\w]+", text)
            named = {ROOT / name for name in names} | {path.parent / link for link in found(r"\]\(([^)#:]+)\)", text)}
            self.assertEqual([], [str(name) for name in named if not name.exists()], path.name)
