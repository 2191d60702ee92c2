#!/usr/bin/env python3
"""Keys, focus and mouse on a real X server: which messages the native window layer makes of them.

Usage: window_keys_test.py --probe PROGRAM [unittest arguments]
"""

from window_probe import LEFT, TOP, WINDOW_H, WINDOW_W, OnScreen, main
from x_display import wait_until


class Keys(OnScreen):
    def use_layout(self, *arguments):
        self.display.run("setxkbmap", *arguments)
        self.addCleanup(self.display.run, "setxkbmap", "us")
        self.probe.settle()

    def check(self, chords, wanted):
        self.probe.begin()
        self.display.key(*chords.split())
        self.probe.expect(wanted)

    def check_right_alt(self, place, wanted):
        """By the places of the keys, since tools take any key that could mean the right Alt key."""
        self.probe.begin()
        self.display.xdotool("keydown", "108", "key", place, "keyup", "108")
        self.probe.expect(wanted)

    def test_a_character_follows_its_key(self):
        self.check("a", "d65 c97 u65")
        self.check("shift+a", "d16 d65 c65 u16 u65")
        self.check("1 shift+1", "d49 c49 u49 d16 d49 c33 u16 u49")
        self.check("space", "d32 c32 u32")

    def test_messages_carry_the_scan_code(self):
        self.probe.begin()
        self.display.key("q")
        self.probe.expect("d81 c113 u81")
        self.assertEqual(self.probe.messages(), ["keyDown 81 scan 20 repeat 1", "character 113 scan 20 repeat 1",
                                                 "keyUp 81 scan 20 repeat 1"])

    def test_editing_keys_make_control_characters(self):
        self.check("Return", "d13 c13 u13")
        self.check("KP_Enter", "d13 c13 u13")
        self.check("BackSpace", "d8 c8 u8")
        self.check("Tab", "d9 c9 u9")
        self.check("Escape", "d27 c27 u27")
        self.check("ctrl+Return", "d17 d13 c10 u17 u13")
        self.check("ctrl+BackSpace", "d17 d8 c127 u17 u8")

    def test_keys_without_a_character(self):
        self.check("Delete Insert Home End Prior Next", "d46 u46 d45 u45 d36 u36 d35 u35 d33 u33 d34 u34")
        self.check("Left Up Right Down", "d37 u37 d38 u38 d39 u39 d40 u40")
        self.check("F1 F4 F5 F11 F12", "d112 u112 d115 u115 d116 u116 d122 u122 d123 u123")

    def test_ctrl_with_a_letter_makes_its_control_character(self):
        for at, letter in enumerate("acvz"):
            number = ord(letter.upper())
            self.check(f"ctrl+{letter}", f"d17 d{number} c{number - 64} u17 u{number}")
        self.check("ctrl+shift+v", "d17 d16 d86 c22 u16 u17 u86")
        self.check("ctrl+bracketleft ctrl+backslash ctrl+bracketright",
                   "d17 d219 c27 u17 u219 d17 d220 c28 u17 u220 d17 d221 c29 u17 u221")
        self.check("ctrl+shift+6 ctrl+shift+minus",
                   "d17 d16 d54 c30 u16 u17 u54 d17 d16 d189 c31 u16 u17 u189")
        self.check("ctrl+1 ctrl+slash", "d17 d49 u17 u49 d17 d191 u17 u191")
        self.check("ctrl+space", "d17 d32 c32 u17 u32")

    def test_alt_never_types(self):
        for digit in "123456":
            self.check(f"alt+{digit}", f"d18 d{ord(digit)} u18 u{ord(digit)}")
        self.check("alt+grave", "d18 d192 u18 u192")
        self.check("alt+a alt+shift+a", "d18 d65 u18 u65 d18 d16 d65 u16 u18 u65")
        self.check("alt+F4", "d18 d115 u18 u115")
        self.check_right_alt(10, "d18 d49 u49 u18") # the place of 1
        self.check("alt+Return", "d18 d13 u18 u13")
        self.check("1", "d49 c49 u49")

    def test_ctrl_and_alt_make_no_control_character(self):
        self.check("ctrl+alt+q", "d17 d18 d81 u17 u18 u81")
        self.check("ctrl+alt+1", "d17 d18 d49 u17 u18 u49")
        self.check("ctrl+alt+Up", "d17 d18 d38 u17 u18 u38")
        self.check("ctrl+alt+shift+Left", "d17 d18 d16 d37 u16 u17 u18 u37")

    def test_the_german_layout_types_by_alt_gr(self):
        self.use_layout("de")
        self.check("z y", "d90 c122 u90 d89 c121 u89")
        self.check("ISO_Level3_Shift+7", "d17 d18 d55 c123 u17 u18 u55")
        self.check("ISO_Level3_Shift+q", "d17 d18 d81 c64 u17 u18 u81")
        self.check("ISO_Level3_Shift+ssharp", "d17 d18 d189 c92 u17 u18 u189")
        self.check("alt+1", "d18 d49 u18 u49")
        self.check("ctrl+z", "d17 d90 c26 u17 u90")
        self.check("udiaeresis", "d219 c252 u219")

    def test_the_layout_in_use_says_what_the_right_alt_key_is(self):
        self.use_layout("us,de")
        f7 = 73
        self.check_right_alt(f7, "d18 d118 u118 u18")
        self.display.xlib.lock_group(1)
        self.addCleanup(self.display.xlib.lock_group, 0)
        self.check_right_alt(f7, "d17 d18 d118 u118 u17 u18")

    def test_dead_keys_compose(self):
        self.use_layout("de")
        self.probe.begin()
        self.display.key("dead_acute", "e")
        wait_until(lambda: any(line.startswith("character") for line in self.probe.messages()), "character")
        self.probe.settle()
        self.assertEqual([line for line in self.probe.messages() if line.startswith("character")],
                         ["character 233 scan 8 repeat 1"])

    def test_the_french_layout_keeps_its_row_of_digits(self):
        self.use_layout("fr")
        self.check("ampersand", "d49 c38 u49")
        self.check("a", "d65 c97 u65")
        self.check("alt+ampersand", "d18 d49 u18 u49")

    def test_a_layout_without_latin_letters_goes_by_place(self):
        self.use_layout("ru")
        self.probe.begin()
        self.display.xdotool("keydown", "Control_L", "key", "54", "keyup", "Control_L", "key", "54")
        self.probe.expect("d17 d67 c3 u67 u17 d67 c1089 u67")

    def test_the_keypad_follows_num_lock(self):
        self.check("KP_Home", "d36 u36")
        self.check("Num_Lock", "d144 u144")
        self.addCleanup(self.display.key, "Num_Lock")
        self.probe.begin()
        self.display.xdotool("key", "79", "key", "86") # the places of 7 and +
        self.probe.expect("d103 c55 u103 d107 c43 u107")

    def test_a_held_key_repeats(self):
        self.probe.begin()
        self.display.run("xset", "r", "rate", "150", "50")
        self.display.xdotool("keydown", "x")
        wait_until(lambda: self.probe.short().count("d88 c120") >= 3, "repeated key")
        self.display.xdotool("keyup", "x")
        wait_until(lambda: "u88" in self.probe.short(), "release")
        self.probe.settle()
        self.assertRegex(self.probe.short(), r"^(d88 c120 ){3,}u88$")

    def test_characters_beyond_ascii_come(self):
        self.use_layout("de")       # which has both, so that no tool changes the keyboard while it types
        self.check("udiaeresis", "d219 c252 u219")
        self.check("ISO_Level3_Shift+e", "d17 d18 d69 c8364 u17 u18 u69")


class Focus(OnScreen):
    def test_focus_comes_and_goes(self):
        other = self.open_probe("without drawing")
        self.display.xdotool("windowfocus", "--sync", self.probe.window)
        wait_until(lambda: self.probe.lines.all[-1] == "activated", "focus")
        self.probe.begin()
        self.display.xdotool("windowfocus", "--sync", other.window)
        wait_until(lambda: "focusLost" in self.probe.messages(), "loss of focus")
        self.display.xdotool("windowfocus", "--sync", self.probe.window)
        wait_until(lambda: "activated" in self.probe.messages(), "focus")
        self.assertEqual(self.probe.messages(), ["focusLost", "activated"])

    def test_a_key_held_while_the_focus_goes_does_not_stick(self):
        other = self.open_probe("without drawing")
        self.display.xdotool("windowfocus", "--sync", self.probe.window)
        wait_until(lambda: self.probe.lines.all[-1] == "activated", "focus")
        self.probe.begin()
        self.display.xdotool("keydown", "alt")
        self.probe.expect("d18")
        self.display.xdotool("windowfocus", "--sync", other.window)
        wait_until(lambda: "focusLost" in self.probe.messages(), "loss of focus")
        self.display.xdotool("keyup", "alt")
        self.display.xdotool("windowfocus", "--sync", self.probe.window)
        wait_until(lambda: "activated" in self.probe.messages(), "focus")
        self.display.key("1")
        wait_until(lambda: "u49" in self.probe.short(), "key")
        self.assertTrue(self.probe.short().endswith("activated d49 c49 u49"), self.probe.short())


class Mouse(OnScreen):
    def at(self, x, y):
        return LEFT + x, TOP + y

    def test_buttons_and_wheel(self):
        self.probe.begin()
        for button in (1, 3, 4, 5):
            self.display.click(*self.at(70, 60), button)
        wait_until(lambda: len(self.probe.messages()) >= 6, "messages of the mouse")
        self.probe.settle()
        self.assertEqual(self.probe.messages(), ["leftDown 70 60", "leftUp 70 60", "rightDown 70 60", "rightUp 70 60",
                                                 "wheel up 70 60", "wheel down 70 60"])

    def test_other_buttons_and_the_sideways_wheel_are_ignored(self):
        self.probe.begin()
        for button in (2, 6, 7, 8, 9):
            self.display.click(*self.at(70, 60), button)
        self.display.click(*self.at(1, 2))
        wait_until(lambda: "leftUp 1 2" in self.probe.messages(), "click")
        self.assertEqual(self.probe.messages(), ["leftDown 1 2", "leftUp 1 2"])

    def test_moves_tell_the_place_in_the_window(self):
        self.probe.begin()
        for x, y in ((0, 0), (17, 29), (399, 299)):
            self.display.move_pointer(*self.at(x, y))
            wait_until(lambda: f"mouseMove {x} {y}" in self.probe.messages(("mouseMove",)), "move")

    def test_a_double_click_is_two_clicks(self):
        self.probe.begin()
        self.display.xdotool("mousemove", *self.at(5, 5), "click", "--repeat", 2, "--delay", 20, 1)
        wait_until(lambda: len(self.probe.messages()) >= 4, "clicks")
        self.assertEqual(self.probe.messages(), ["leftDown 5 5", "leftUp 5 5"] * 2)

    def test_captured_moves_come_from_everywhere(self):
        self.display.xdotool("mousemove", *self.at(50, 50), "mousedown", 1)
        self.addCleanup(self.display.xdotool, "mouseup", 1)
        self.probe.wait_for("leftDown 50 50")
        self.probe.ask("capture 1")
        self.probe.begin()
        self.display.move_pointer(10, 20)
        wait_until(lambda: f"mouseMove {10 - LEFT} {20 - TOP}" in self.probe.messages(("mouseMove",)), "move")
        self.display.move_pointer(790, 580)
        wait_until(lambda: f"mouseMove {790 - LEFT} {580 - TOP}" in self.probe.messages(("mouseMove",)), "move")
        self.assertEqual(self.probe.ask("pointer"), ["pointer 790 580 down"])
        self.display.xdotool("mouseup", 1)
        wait_until(lambda: f"leftUp {790 - LEFT} {580 - TOP}" in self.probe.messages(), "release")
        self.probe.ask("capture 0")
        self.assertEqual(self.probe.ask("pointer"), ["pointer 790 580 up"])

    def test_moves_outside_do_not_come_without_capture(self):
        self.probe.ask("capture 1")
        self.probe.ask("capture 0")
        self.display.move_pointer(*self.at(50, 50))
        self.probe.begin()
        self.display.move_pointer(10, 20)
        self.display.move_pointer(*self.at(60, 70))
        wait_until(lambda: "mouseMove 60 70" in self.probe.messages(("mouseMove",)), "move")
        for line in self.probe.messages(("mouseMove",)):
            x, y = (int(word) for word in line.split()[1:])
            self.assertTrue(0 <= x < WINDOW_W and 0 <= y < WINDOW_H, line)


if __name__ == "__main__":
    main()
