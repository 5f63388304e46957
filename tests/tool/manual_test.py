"""Help, manual pages and completion agree: manual_test.py AUDIOMATCH MANUAL README"""

import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import unittest

README = pathlib.Path(sys.argv.pop(3))
MANUAL = pathlib.Path(sys.argv.pop(2)).resolve()

from tool_runner import run


def exit_codes(text):
    """Numbers and meanings from lines such as "  3  text" and "| 3 | text |"."""
    return re.findall(r"^(?:  |\| )(\d)(?:  | \| )(.*?)(?: \|)?$", text, re.M)


HELP = run("--help")[1]
COMMANDS = re.findall(r"^  ([a-z]+)\s", HELP.partition("Subcommands:")[2].partition("\n\n")[0], re.M)


def options_of(command):
    """All long names in a command's help."""
    return re.findall(r"^  (?:-\w,)?(--[\w-]+)", run(command, "--help")[1], re.M)


class Shell:
    """An interactive shell that has read a completion; its terminal is wide."""

    def __init__(self, *arguments, setup, tabs):
        # A home of its own, so that no history or cache of the user's is written to.
        self.home = tempfile.TemporaryDirectory()
        environment = {**os.environ, "HOME": self.home.name, "ZDOTDIR": self.home.name,
                       "HISTFILE": "", "TERM": "dumb", "PS1": ""}
        self.tabs = tabs  # that list what there is
        self.terminal, theirs = pty.openpty()
        self.process = subprocess.Popen(arguments, stdin=theirs, stdout=theirs, stderr=theirs,
                                        env=environment, start_new_session=True)
        os.close(theirs)
        self.run(f"stty cols 500 rows 500; {setup}")

    def read_until(self, texts, keys):
        """What the shell writes after some keys, until all of the texts are in it."""
        os.write(self.terminal, keys.encode())
        seen = ""
        while missing := [text for text in texts if text not in seen]:
            if not select.select([self.terminal], [], [], 30)[0]:
                raise AssertionError(f"not after {keys!r}: {missing} in {seen!r}")
            seen += os.read(self.terminal, 65536).decode(errors="replace")
        return seen

    def run(self, line):
        # The sum tells the answer from the line that is typed in.
        return self.read_until(["READ42"], f"{line}; echo READ$((40 + 2))\n")

    def expect(self, line, *texts):
        """Has a line, as typed in so far, completed to all of the texts."""
        self.read_until(texts, line)
        # To the end of the line and without it.
        self.read_until(["READ42"], "\x05\x15 echo READ$((40 + 2))\n")

    def close(self):
        os.close(self.terminal)
        self.process.wait(timeout=30)
        self.home.cleanup()


class ManualTest(unittest.TestCase):
    def test_exit_codes_are_the_same_everywhere(self):
        codes = exit_codes(HELP)
        self.assertEqual([code for code, _ in codes], list("01234"))
        self.assertEqual(exit_codes(README.read_text().partition("| Exit code |")[2]), codes)
        for command in COMMANDS:
            self.assertEqual(exit_codes(run(command, "--help")[1])[-5:], codes, command)
        for page in MANUAL.glob("man1/*"):
            text = page.read_text().partition("EXIT STATUS")[2].partition(".PP")[0]
            shown = re.findall(r"\.TP\n\\fB(\d)\\fR\n([^.]*)\n", text)
            self.assertEqual([(code, " ".join(meaning.split())) for code, meaning in shown], codes)

    def test_there_is_a_clean_page_for_every_command(self):
        pages = {page.stem: page for page in MANUAL.glob("man1/*")}
        self.assertEqual(set(pages), {"audiomatch", *(f"audiomatch-{c}" for c in COMMANDS)})
        for command in COMMANDS:
            text = pages[f"audiomatch-{command}"].read_text().replace("\\-", "-")
            for option in options_of(command):
                self.assertIn(f"\\fB{option}\\fR", text)
        if shutil.which("mandoc"):
            lint = subprocess.run(["mandoc", "-T", "lint", "-W", "style", *pages.values()],
                                  capture_output=True, text=True, timeout=60)
            self.assertEqual((lint.returncode, lint.stdout + lint.stderr), (0, ""))

    def check_shell(self, shell):
        with tempfile.TemporaryDirectory() as folder:
            self.addCleanup(shell.close)
            for name in ("music.db", "heard.wav", "a song.wav"):
                pathlib.Path(folder, name).touch()
            shell.run(f"cd '{folder}'")
            shell.expect("audiomatch " + shell.tabs, *COMMANDS)
            for command in COMMANDS:
                shell.expect(f"audiomatch {command} --" + shell.tabs, *options_of(command))
            # What isn't typed in comes only where something completes it.
            shell.expect("audiomatch match m\t", "music.db")
            shell.expect("audiomatch match music.db h\t", "heard.wav")
            shell.expect("audiomatch match music.db x.wav a\t", r"a\ song.wav")
            shell.expect("audiomatch features --csv h\t", "heard.wav")
            shell.expect("audiomatch features --binary h\t", "heard.wav")
            shell.expect("audiomatch features --from 3 h\t", "heard.wav")
            shell.expect("audiomatch match --list h\t", "heard.wav")
            shell.expect("audiomatch match --format f32l\t", "f32le")
            shell.expect("audiomatch index --name-from t\t", "tags")
            # Nothing completes a number: the word is still the one letter.
            shell.expect("audiomatch features --from h\t --js\t", "--from h --json")

    def test_bash_completes(self):
        self.check_shell(Shell("bash", "--norc", "-i", tabs="\t\t",
                               setup=f"source {MANUAL}/bash/audiomatch; bind 'set bell-style none'"))

    @unittest.skipUnless(shutil.which("zsh"), "no zsh")
    def test_zsh_completes(self):
        self.check_shell(Shell("zsh", "-f", "-i", tabs="\t", setup="PROMPT= RPROMPT= LISTMAX=0; unsetopt beep; "
                               f"fpath=({MANUAL}/zsh $fpath); autoload -Uz compinit; "
                               "compinit -u -D; bindkey -e"))


if __name__ == "__main__":
    unittest.main()
