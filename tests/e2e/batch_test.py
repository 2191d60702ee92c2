#!/usr/bin/env python3
"""What the batch program does apart from the commands: options, input, directives, exit codes.

Usage: batch_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import argparse
import os
import pty
import re
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

BATCH = ""
DATA = Path()
TIME_LIMIT_SECONDS = 60


def batch(*arguments, stdin="", **more):
    return subprocess.run([BATCH, *arguments], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, timeout=TIME_LIMIT_SECONDS, **more)


def script_file(text):
    file = tempfile.NamedTemporaryFile("w", suffix=".script")
    file.write(text)
    file.flush()
    return file


class Options(unittest.TestCase):
    def test_help_goes_to_standard_output(self):
        done = batch("--help")
        self.assertEqual(done.returncode, 0)
        for word in ("--execute", "--echo", "--status", "--log", "--remote", "--stop-on-error", "--timeout",
                     "--version", ".wait", ".sleep", ".cancel", "Exit codes"):
            self.assertIn(word, done.stdout)
        self.assertEqual(done.stderr, "")

    def test_version_names_program_and_number(self):
        done = batch("--version")
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stdout, r"^sabledbg-batch \d+\.\d+\.\d+\n$")

    def test_unknown_option_gives_2_and_a_sentence(self):
        done = batch("--nosuch")
        self.assertEqual(done.returncode, 2)
        self.assertIn("--nosuch", done.stderr)
        self.assertEqual(done.stdout, "")

    def test_time_limit_must_be_a_number_of_milliseconds(self):
        for value in ("0", "-1", "abc", "99999999999", ""):
            self.assertEqual(batch("--timeout", value).returncode, 2, value)

    def test_option_without_its_value_gives_2(self):
        self.assertEqual(batch("-x").returncode, 2)
        self.assertEqual(batch("--timeout").returncode, 2)

    def test_missing_script_gives_2_and_names_it(self):
        done = batch("/nosuch/script")
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr, "sabledbg-batch: /nosuch/script: cannot be opened\n")

    def test_script_that_cannot_be_read_gives_2(self):
        done = batch("/proc/self/mem")
        self.assertEqual(done.returncode, 2)
        self.assertIn("cannot be read", done.stderr)

    def test_script_without_line_ends_is_given_up(self):
        done = batch("/dev/zero")
        self.assertEqual(done.returncode, 2)
        self.assertIn("too long", done.stderr)

    def test_folder_as_script_gives_2(self):
        self.assertEqual(batch("/tmp").returncode, 2)

    def test_given_lines_run_before_scripts_in_order(self):
        with script_file("help q\n") as first, script_file("help cls\n") as second:
            done = batch("-x", "connect static local", "--execute", "eval 1", "--echo", first.name, second.name)
        self.assertEqual([line for line in done.stdout.splitlines() if line.startswith("> ")],
                         ["> connect static local", "> eval 1", "> help q", "> help cls"])

    def test_one_given_line_is_one_value(self):
        with script_file("help q\n") as script:
            done = batch("-x", "help cls", script.name, "--echo")
        self.assertEqual(done.returncode, 0)
        self.assertIn("> help cls", done.stdout)
        self.assertIn("> help q", done.stdout)

    def test_script_with_brackets_in_its_name_is_one_script(self):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "[a,b]").write_text("help nosuch\n")
            done = batch("--status", "[a,b]", cwd=folder)
        self.assertEqual((done.stdout, done.returncode, done.stderr), ("[0]\n", 0, ""))

    def test_several_scripts_run_in_order(self):
        with script_file("help nosuch\n") as first, script_file("nosuch\n") as second:
            self.assertEqual(batch("--status", first.name, second.name, first.name).stdout, "[0]\n[3]\n[0]\n")

    def test_lost_output_is_told(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([BATCH, "-x", "help"], stdin=subprocess.DEVNULL, stdout=full,
                                  stderr=subprocess.PIPE, text=True, timeout=TIME_LIMIT_SECONDS)
        self.assertEqual(done.returncode, 1)
        self.assertIn("output", done.stderr)

    def test_status_of_a_queued_command_is_that_of_its_run(self):
        done = batch("-x", "connect static local", "-x", "lmf /etc/passwd", "--status")
        self.assertEqual(done.stdout, "[0]\n[6]\n")

    def test_log_lines_have_a_prefix(self):
        done = batch("--log")
        self.assertEqual(done.stdout, "log: Sable engine loaded\nlog: Static engine loaded\n")

    def test_nothing_extra_is_printed_without_options(self):
        done = batch("-x", "connect static local", "-x", "eval 12", "-x", "nosuch")
        self.assertEqual(done.stdout, "12\n")
        self.assertEqual(done.stderr, "")


class Input(unittest.TestCase):
    def test_standard_input_is_read_without_scripts(self):
        self.assertEqual(batch(stdin="connect static local\neval 2\n").stdout, "2\n")

    def test_minus_is_standard_input_among_scripts(self):
        with script_file("connect static local\n") as first, script_file("eval 3\n") as last:
            done = batch(first.name, "-", last.name, stdin="eval 2\n")
        self.assertEqual(done.stdout, "2\n3\n")

    def test_comments_are_passed_over(self):
        done = batch("--echo", "--status", stdin="# one\n#two\nhelp q\n")
        self.assertEqual(done.stdout.splitlines()[0], "> help q")
        self.assertEqual(done.stdout.count("["), 1)

    def test_last_line_needs_no_end(self):
        self.assertEqual(batch(stdin="connect static local\neval 4").stdout, "4\n")

    def test_carriage_returns_at_line_ends_vanish(self):
        self.assertEqual(batch(stdin="connect static local\r\neval 5\r\n").stdout, "5\n")

    def test_q_ends_the_program(self):
        done = batch(stdin="connect static local\nq\neval 5\n")
        self.assertEqual((done.stdout, done.returncode), ("", 0))

    def test_q_ends_the_program_also_with_words_behind_it(self):
        self.assertEqual(batch("--echo", stdin="q now\nhelp\n").stdout, "> q now\n")

    def test_empty_line_has_status_3_and_is_no_error(self):
        done = batch("--status", "--stop-on-error", stdin="\n  \nhelp nosuch\n")
        self.assertEqual((done.stdout, done.returncode), ("[3]\n[3]\n[0]\n", 0))

    def test_very_long_line_is_refused_not_fatal(self):
        done = batch("--status", stdin="connect static local\neval " + "1" * 1000000 + "\neval 1\n")
        self.assertEqual(done.stdout, "[0]\n[5]\n1\n[0]\n")

    def test_bytes_that_are_no_text_pass_through(self):
        done = subprocess.run([BATCH, "--echo", "--status"], input=b"h\xff\xfe\nhelp \x80\n", stdout=subprocess.PIPE,
                              timeout=TIME_LIMIT_SECONDS)
        self.assertEqual(done.stdout, b"> h\xff\xfe\n[3]\n> help \x80\n[0]\n")


class StopOnError(unittest.TestCase):
    def test_first_failing_line_ends_with_1(self):
        done = batch("--stop-on-error", "--status", stdin="connect static local\nxl nosuch\neval 1\n")
        self.assertEqual((done.stdout, done.returncode), ("[0]\n[10]\n", 1))

    def test_cls_is_no_error(self):
        done = batch("--stop-on-error", "--status", stdin="cls\nhelp nosuch\n")
        self.assertEqual((done.stdout, done.returncode), ("[1]\n[0]\n", 0))

    def test_unknown_word_is_an_error(self):
        self.assertEqual(batch("--stop-on-error", stdin="nosuch\n").returncode, 1)

    def test_q_is_no_error(self):
        self.assertEqual(batch("--stop-on-error", stdin="q\n").returncode, 0)


class Directives(unittest.TestCase):
    def test_sleep_waits(self):
        start = time.monotonic()
        self.assertEqual(batch(stdin=".sleep 300\n").returncode, 0)
        self.assertGreaterEqual(time.monotonic() - start, 0.3)

    def test_wait_without_a_target_ends_with_3(self):
        start = time.monotonic()
        done = batch("--echo", stdin="connect static local\n.wait 200\neval 1\n")
        self.assertEqual(done.returncode, 3)
        self.assertNotIn("> eval 1", done.stdout)
        self.assertLess(time.monotonic() - start, 5)

    def test_blanks_of_both_kinds_stand_between_a_directive_and_its_number(self):
        self.assertEqual(batch(stdin=".sleep\t5 \n.sleep   5\n").returncode, 0)

    def test_cancel_with_nothing_running_does_nothing(self):
        self.assertEqual(batch(stdin=".cancel\n").returncode, 0)

    def test_unknown_directive_gives_2_and_its_place(self):
        with script_file("help q\n.nosuch 1\n") as script:
            done = batch(script.name)
        self.assertEqual(done.returncode, 2)
        self.assertIn(":2:", done.stderr)
        self.assertIn(".nosuch 1", done.stderr)

    def test_directive_with_a_bad_number_gives_2(self):
        for line in (".sleep", ".sleep x", ".sleep -1", ".wait x", ".wait 1 2", ".cancel 1", ".sleep 5000000000"):
            self.assertEqual(batch(stdin=line + "\n").returncode, 2, line)


class TimeLimit(unittest.TestCase):
    def test_command_past_its_limit_is_cancelled_and_ends_with_3(self):
        start = time.monotonic()
        done = batch("--timeout", "300", "--status", stdin="connect nosuch local\nhelp\n")
        self.assertEqual((done.stdout, done.returncode), ("[20]\n", 3))
        self.assertLess(time.monotonic() - start, 5)

    def test_limit_holds_for_each_command_anew(self):
        done = batch("--timeout", "2000", stdin="connect static local\n.sleep 2100\neval 7\n")
        self.assertEqual((done.stdout, done.returncode), ("7\n", 0))


class Interrupt(unittest.TestCase):
    def test_sigint_cancels_the_running_command_and_goes_on(self):
        process = subprocess.Popen([BATCH, "--status", "--echo"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   text=True)
        process.stdin.write("connect nosuch local\nhelp nosuch\n")
        process.stdin.close()
        self.assertEqual(process.stdout.readline(), "> connect nosuch local\n")
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.stdout.read(), "[20]\n> help nosuch\n[0]\n")
        self.assertEqual(process.wait(TIME_LIMIT_SECONDS), 0)
        process.stdout.close()

    def test_sigint_after_a_run_of_the_same_command_cancels_again(self):
        for _ in range(3):
            self.test_sigint_cancels_the_running_command_and_goes_on()

    def check_two_are_needed(self, line, *before):
        process = subprocess.Popen([BATCH, "--status", "--echo"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   text=True)
        try:
            process.stdin.write("\n".join([*before, line, "help nosuch", ""]))
            process.stdin.close()
            while process.stdout.readline() not in (f"> {line}\n", ""):
                pass
            time.sleep(0.3)
            process.send_signal(signal.SIGINT)
            with self.assertRaises(subprocess.TimeoutExpired, msg="the first one is not heeded"):
                process.wait(1)
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(10), 130)
            self.assertEqual(process.stdout.read(), "")
        finally:
            process.kill()
            process.wait()
            process.stdout.close()

    def test_second_sigint_ends_the_program_in_a_command_that_runs_at_once(self):
        self.check_two_are_needed("inb 60 ffffffffffffffff", "connect sable local")

    def test_second_sigint_ends_the_program_in_a_queued_command_that_cannot_be_cancelled(self):
        self.check_two_are_needed("db #0 ffffffffffffffff", "connect sable local demo,ram=2G")

    def interrupt_directive(self, line):
        process = subprocess.Popen([BATCH, "--echo", "--status"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   text=True)
        process.stdin.write(line + "\n.sleep 1\nhelp nosuch\n")
        process.stdin.close()
        self.assertEqual(process.stdout.readline(), f"> {line}\n")
        start = time.monotonic()
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.stdout.read(), "> .sleep 1\n> help nosuch\n[0]\n")
        self.assertEqual(process.wait(TIME_LIMIT_SECONDS), 0)
        self.assertLess(time.monotonic() - start, 10)
        process.stdout.close()

    def test_sigint_ends_a_sleep_and_goes_on(self):
        self.interrupt_directive(".sleep 30000")

    def test_sigint_ends_a_wait_and_goes_on(self):
        self.interrupt_directive(".wait 30000")


class Terminal(unittest.TestCase):
    def test_ctrl_c_at_the_prompt_drops_the_line_and_goes_on(self):
        child, terminal = pty.fork()
        if child == 0:
            os.environ["TERM"] = "vt100"
            os.execv(BATCH, [BATCH])
        seen = b""

        def read_until(text):
            nonlocal seen
            while text not in seen:
                seen += os.read(terminal, 4096)
            seen = seen[seen.index(text) + len(text):]

        read_until(b"sable> ")
        os.write(terminal, b"connect static local\n")
        read_until(b"local\r\n")
        read_until(b"sable> ")
        os.write(terminal, b"eval 7")
        read_until(b"eval 7")
        os.write(terminal, b"\x03")
        read_until(b"sable> ")
        os.write(terminal, b"eval 5\n")
        read_until(b"\r\n5\r\n")
        read_until(b"sable> ")
        os.write(terminal, b"q\n")
        _, status = os.waitpid(child, 0)
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(status), 0)

    def test_terminal_gets_a_prompt_and_line_editing(self):
        child, terminal = pty.fork()
        if child == 0:
            os.environ["TERM"] = "vt100"
            os.execv(BATCH, [BATCH])
        # The left arrow goes before the digit, so that 12 is typed as 2, left, 1.
        os.write(terminal, b"connect static local\n")
        os.write(terminal, b"eval 2\x1b[D1\n")
        os.write(terminal, b"q\n")
        seen = b""
        while True:
            try:
                piece = os.read(terminal, 4096)
            except OSError:
                break
            if not piece:
                break
            seen += piece
        _, status = os.waitpid(child, 0)
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(status), 0)
        self.assertIn(b"sable> ", seen)
        self.assertRegex(seen.replace(b"\r", b""), re.compile(rb"^12$", re.M))


class Malformed(unittest.TestCase):
    """Loads of broken files: status 6 or a sane success, in bounded time and memory."""

    MEMORY_LIMIT = 1 << 30

    def load(self, content):
        with tempfile.NamedTemporaryFile(suffix=".bin") as file:
            file.write(content)
            file.flush()

            def limit():
                resource.setrlimit(resource.RLIMIT_CPU, (20, 20))
                if not self.sanitized():
                    resource.setrlimit(resource.RLIMIT_AS, (self.MEMORY_LIMIT, self.MEMORY_LIMIT))

            done = batch("--status", stdin=f"connect static local\nlmf {file.name}\nxl *\ncm\nq\n", preexec_fn=limit)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.splitlines()
        self.assertEqual(lines[0], "[0]")
        self.assertIn(lines[1], ("[0]", "[6]"))
        return lines[1]

    @staticmethod
    def sanitized():
        return b"__asan_init" in Path(BATCH).read_bytes() or b"__tsan_init" in Path(BATCH).read_bytes()

    def test_sampled_cuts_of_an_elf_file_fail(self):
        whole = (DATA / "fixed.elf").read_bytes()
        for size in [*range(0, 200, 23), *range(200, len(whole), 397), len(whole) - 1]:
            self.assertEqual(self.load(whole[:size]), "[6]", size)

    def test_sampled_cuts_of_a_pe_file_end_well(self):
        whole = (DATA / "codeview.exe").read_bytes()
        for size in range(0, len(whole), 211):
            self.load(whole[:size])

    def test_huge_load_segment_fails(self):
        for size in (4 << 30, (1 << 64) - 1, 1 << 63):
            whole = bytearray((DATA / "fixed.elf").read_bytes())
            table, count = struct.unpack_from("<Q", whole, 32)[0], struct.unpack_from("<H", whole, 56)[0]
            for index in range(count):
                struct.pack_into("<Q", whole, table + 56 * index + 40, size)
            self.assertEqual(self.load(bytes(whole)), "[6]", size)

    def test_65535_sections_fail(self):
        whole = bytearray((DATA / "fixed.elf").read_bytes())
        struct.pack_into("<H", whole, 60, 65535)
        self.assertEqual(self.load(bytes(whole)), "[6]")

    def test_section_table_that_points_at_itself_ends_well(self):
        whole = bytearray((DATA / "fixed.elf").read_bytes())
        struct.pack_into("<Q", whole, 40, 0)
        self.load(bytes(whole))

    def test_huge_pe_image_fails(self):
        for size in (0xFFFFFFFF, 0x80000000, 0xFFFFF000):
            whole = bytearray((DATA / "codeview.exe").read_bytes())
            header = struct.unpack_from("<I", whole, 60)[0]
            struct.pack_into("<I", whole, header + 80, size)
            self.assertEqual(self.load(bytes(whole)), "[6]", size)


def main():
    global BATCH, DATA
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True)
    parser.add_argument("--data", required=True, type=Path)
    arguments, rest = parser.parse_known_args()
    BATCH, DATA = os.path.abspath(arguments.batch), arguments.data
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
