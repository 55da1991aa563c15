#!/usr/bin/python3
"""Lumora as a screen reader sees it, over AT-SPI: the popover's controls with their names and
roles in visual order, each provider card read as one sentence; pressing "Break" through AT-SPI
starts a break; every control of the settings window has a name.

Usage: popover_atspi.py LUMORA   (the built lumora). Runs on its own display and buses.
"""

import re
import sys

import desktop_session as desk

desk.require(["Xvfb", "dbus-daemon", "dbus-send", "/usr/libexec/at-spi-bus-launcher"],
             ["pyatspi"])

# The popover's controls in visual order: (role, name). A card's name is a pattern.
POPOVER = [
    ("push button", "Refresh"),
    ("list item", r"Codex, 70 percent left, Session limit, resets in (59|60) minutes?"),
    ("check box", "Show Codex in the menu bar"),
    ("list item", r"Claude Code, 58 percent left, Session limit, resets in 2 hours 1[45] minutes?"),
    ("check box", "Show Claude Code in the menu bar"),
    ("push button", "Break"),
    ("push button", "Settings"),
    ("push button", "Quit Lumora"),
]

ROLES = {"push button", "check box", "radio button", "list item"}
# Some of the settings window's controls.
SETTINGS = [
    ("push button", "Refresh Now"),
    ("radio button", "Photo"),
    ("radio button", "Motion"),
    ("radio button", "Minimal"),
    ("push button", "Text Color"),
    ("push button", "Reset to White"),
    ("check box", "Usage and reset notifications"),
    ("check box", "Start Lumora at login"),
]


def controls(pyatspi, window, shown=True):
    """The controls of a window in the tree's order, as (role, name, object): what takes the
    focus, but for texts (Qt calls each focusable) and Qt's own scroll bars. `shown`: only those
    on screen; else also those scrolled out of sight or hidden."""
    found = []
    for node in desk.descendants(window):
        state = node.getState()
        if node.getRoleName() not in ("label", "scroll bar") and \
                state.contains(pyatspi.STATE_FOCUSABLE) and \
                (not shown or state.contains(pyatspi.STATE_SHOWING)):
            found.append((node.getRoleName(), node.name, node))
    return found


def main():
    with desk.Session(sys.argv[1]) as session:
        import pyatspi

        session.connect_fake_tools()
        session.start_tray()  # and the popover with it
        app = desk.wait_until(lambda: desk.application(pyatspi), "lumora on the AT-SPI bus")

        def popover():
            return desk.showing_window(
                pyatspi, app, lambda w: any(n.name == "Quit Lumora" for n in desk.descendants(w)))

        def popover_controls():
            window = popover()
            found = controls(pyatspi, window) if window else []
            # Ready once both cards read their figures.
            return found if sum("percent left" in name for _, name, _ in found) == 2 else None

        found = desk.wait_until(popover_controls, "the popover with both cards' figures")
        listed = [(role, name) for role, name, _ in found]
        print("popover:", *listed, sep="\n  ")
        assert len(listed) == len(POPOVER), listed
        for (role, name), (expected_role, pattern) in zip(listed, POPOVER):
            assert role == expected_role and re.fullmatch(pattern, name), \
                f"{role} {name!r} is not {expected_role} {pattern!r}"
        card = found[1][2]
        assert "Alt+Up" in card.description, card.description

        # The Break button, pressed through AT-SPI: the popover goes and the break screen comes.
        break_button = found[5][2]
        action = break_button.queryAction()
        assert action.nActions > 0, "the Break button offers no action"
        action.doAction(0)
        screen = desk.wait_until(
            lambda: desk.showing_window(pyatspi, app, lambda w: any(
                n.getRoleName() == "panel" and n.name == "Break" for n in desk.descendants(w))),
            "the break screen")
        desk.wait_until(lambda: popover() is None, "the popover to close")
        print("break screen:", screen.getRoleName(), repr(screen.name))
        # The settings window: every control has a name and a role a screen reader knows.
        session.run("settings")
        window = desk.wait_until(
            lambda: desk.showing_window(pyatspi, app, lambda w: any(
                n.name == "Start Lumora at login" for n in desk.descendants(w))),
            "the settings window")
        every = controls(pyatspi, window, shown=False)
        found = [(role, name) for role, name, _ in every]
        print("settings:", *found, sep="\n  ")
        for role, name, node in every:
            # Unnamed only while hidden (the download button without an update).
            named = name or not node.getState().contains(pyatspi.STATE_VISIBLE)
            assert role in ROLES and named, f"{role} {name!r} in the settings window"
        for expected in SETTINGS:
            assert expected in found, f"{expected} is not in the settings window"

        session.run("quit")
        session.tray.wait(15)

    print("PASS")


if __name__ == "__main__":
    main()
