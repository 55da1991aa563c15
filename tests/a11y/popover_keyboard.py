#!/usr/bin/python3
"""Lumora by keyboard alone, typed with xdotool: the popover opens with the focus on its first
control, Tab and Shift+Tab walk every control in visual order, Space and Enter press them,
Alt+Down and Alt+Up move the focused card (saved as a drag saves it), Escape closes the popover,
the settings window and the break screen, and Enter on Quit ends Lumora. What has the focus is
read over AT-SPI.

Usage: popover_keyboard.py LUMORA   (the built lumora). Runs on its own display and buses.
"""

import re
import subprocess
import sys

import desktop_session as desk

desk.require(["Xvfb", "dbus-daemon", "dbus-send", "xdotool", "/usr/libexec/at-spi-bus-launcher"],
             ["pyatspi"])

CODEX = r"list item Codex, \d+ percent left.*"
CLAUDE = r"list item Claude Code, \d+ percent left.*"
# Tab from the first control: every control once, in visual order, then the first again.
TAB_ORDER = [
    "push button Refresh",
    CODEX,
    "check box Show Codex in the menu bar",
    CLAUDE,
    "check box Show Claude Code in the menu bar",
    "push button Break",
    "push button Settings",
    "push button Quit Lumora",
    "push button Refresh",
]


def main():
    with desk.Session(sys.argv[1]) as session:
        import pyatspi

        def key(*keys):
            subprocess.run(["xdotool", "key", "--delay", "20", *keys], env=session.env,
                           check=True)

        def shown(predicate):
            app = desk.application(pyatspi)
            return desk.showing_window(pyatspi, app, predicate) if app else None

        def popover():
            return shown(lambda w: any(n.name == "Quit Lumora" for n in desk.descendants(w)))

        def focus(window_of):
            # The innermost focused object: a focus scope around it (the settings form) reports
            # the focus too.
            window = window_of()
            focused = [node for node in (desk.descendants(window) if window else [])
                       if node.getState().contains(pyatspi.STATE_FOCUSED)]
            return f"{focused[-1].getRoleName()} {focused[-1].name}" if focused else None

        def expect_focus(pattern, window_of=popover):
            desk.wait_until(lambda: re.fullmatch(pattern, focus(window_of) or ""),
                            f"the focus on {pattern!r} (it is on {focus(window_of)!r})")

        def open_popover():
            session.run("popover")
            expect_focus(TAB_ORDER[0])  # its first control

        def checked(name):
            window = popover()
            node = next(n for n in desk.descendants(window) if n.name == name)
            return node.getState().contains(pyatspi.STATE_CHECKED)

        session.connect_fake_tools()
        session.start_tray()
        desk.wait_until(lambda: desk.application(pyatspi), "lumora on the AT-SPI bus")
        expect_focus(TAB_ORDER[0])
        desk.wait_until(lambda: any(re.fullmatch(CODEX, f"{n.getRoleName()} {n.name}")
                                    for n in desk.descendants(popover())), "Codex's figures")

        # Tab walks every control in visual order and comes round again; Shift+Tab walks back.
        for expected in TAB_ORDER[1:]:
            key("Tab")
            expect_focus(expected)
        for expected in reversed(TAB_ORDER[:-1]):
            key("shift+Tab")
            expect_focus(expected)
        key("shift+Tab")
        expect_focus("push button Quit Lumora")
        key("Tab")
        expect_focus("push button Refresh")

        # Space on Refresh asks Codex again; the focus stays while the refresh runs.
        runs = session.codex_runs()
        key("space")
        desk.wait_until(lambda: session.codex_runs() > runs, "a refresh by Space")
        expect_focus("push button Refresh")

        # The first card moves down with Alt+Down and up with Alt+Up, keeping the focus; the
        # order is saved as a drag saves it, and Tab then follows the new order.
        key("Tab")
        expect_focus(CODEX)
        key("alt+Down")
        desk.wait_until(lambda: session.preferences().get("providerOrder") ==
                        ["claude-code", "codex"], "the order saved after Alt+Down")
        expect_focus(CODEX)
        key("Tab")
        expect_focus("check box Show Codex in the menu bar")
        key("shift+Tab", "shift+Tab", "shift+Tab")
        expect_focus(CLAUDE)
        key("Tab", "Tab", "alt+Up")
        desk.wait_until(lambda: session.preferences().get("providerOrder") ==
                        ["codex", "claude-code"], "the order saved after Alt+Up")
        expect_focus(CODEX)

        # Space and Enter on a switch turn it off and on again.
        key("Tab")
        expect_focus("check box Show Codex in the menu bar")
        assert checked("Show Codex in the menu bar")
        key("space")
        desk.wait_until(lambda: session.preferences().get("showCodexInMenuBar") is False,
                        "the switch turned off by Space")
        key("Return")
        desk.wait_until(lambda: session.preferences().get("showCodexInMenuBar") is True,
                        "the switch turned on by Enter")

        # Enter on Settings opens the settings window with the focus on a control of its own;
        # Escape closes it.
        def settings():
            return shown(lambda w: any(n.name == "Start Lumora at login"
                                       for n in desk.descendants(w)))

        key("Tab", "Tab", "Tab", "Tab")
        expect_focus("push button Settings")
        key("Return")
        desk.wait_until(settings, "the settings window")
        desk.wait_until(lambda: popover() is None, "the popover to close")
        expect_focus(r"(push button|check box|radio button) .+", settings)
        key("Tab")
        expect_focus(r"(push button|check box|radio button) .+", settings)
        key("Escape")
        desk.wait_until(lambda: settings() is None, "Escape to close the settings window")

        # Space on Break starts a break; Escape ends it.
        def break_screen():
            return shown(lambda w: any(n.getRoleName() == "panel" and n.name == "Break"
                                       for n in desk.descendants(w)))

        open_popover()
        key("shift+Tab", "shift+Tab", "shift+Tab")
        expect_focus("push button Break")
        key("space")
        desk.wait_until(break_screen, "the break screen")
        key("Escape")
        desk.wait_until(lambda: break_screen() is None, "Escape to end the break")

        # Escape closes the popover; it opens again on its first control.
        open_popover()
        key("Tab")
        expect_focus(CODEX)
        key("Escape")
        desk.wait_until(lambda: popover() is None, "Escape to close the popover")
        open_popover()

        # Enter on Quit ends Lumora.
        key("shift+Tab")
        expect_focus("push button Quit Lumora")
        key("Return")
        assert session.tray.wait(15) == 0

    print("PASS")


if __name__ == "__main__":
    main()
