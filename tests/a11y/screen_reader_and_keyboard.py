#!/usr/bin/python3
"""Lumora as a screen reader and a keyboard user meet it: the built lumora (argv[1]) on an Xvfb
display, session bus and accessibility bus of the test's own, with a temporary home and a fake
Codex CLI and Claude Code. Read over AT-SPI (pyatspi), typed at with xdotool."""

import json, os, re, shutil, signal, subprocess, sys, tempfile, time

TOOLS = ["Xvfb", "dbus-daemon", "dbus-send", "xdotool", "/usr/libexec/at-spi-bus-launcher"]
# pyatspi is imported only once the buses are the test's own.
PYATSPI = any(os.path.isdir(os.path.join(folder, "pyatspi")) for folder in sys.path)
if not all(map(shutil.which, TOOLS)) or not PYATSPI:
    print("SKIP: missing one of", *TOOLS, "pyatspi (scripts/setup.sh installs them)")
    sys.exit(77)  # ctest's SKIP_RETURN_CODE

FAKE_CODEX = """#!/bin/sh
echo "$1" >> "$0.runs"
case "$1" in
login) echo 'Logged in using ChatGPT';; --version) echo 'codex-cli 0.169.0';;
app-server) read -r _; echo '{"id":1,"result":{}}'; read -r _; read -r _
    echo '{"id":2,"result":{"rateLimits":{"primary":{"usedPercent":30,"windowDurationMins":300,\
"resetsAt":RESETS}}}}'; exec cat > /dev/null;;
*) exit 2;;
esac
"""
# A session bus that starts no service of the machine's (a notification daemon, say).
BUS_CONFIG = """<busconfig><type>session</type><listen>unix:dir={}</listen>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/>
</policy></busconfig>"""

# The popover's controls in visual order, which is also the Tab order: "role name" patterns.
CODEX = r"list item Codex, 70 percent left, Session limit, resets in (59|60) minutes?"
CLAUDE = r"list item Claude Code, 58 percent left, Session limit, resets in 2 hours 1[45] minutes?"
POPOVER = ["push button Refresh", CODEX, "check box Show Codex in the menu bar", CLAUDE,
           "check box Show Claude Code in the menu bar", "push button Break",
           "push button Settings", "push button Quit Lumora"]
SETTINGS = ["push button Refresh Now", "radio button Photo", "radio button Motion",
            "radio button Minimal", "push button Text Color", "push button Reset to White",
            "check box Usage and reset notifications", "check box Start Lumora at login"]
# What shows that a window is Lumora's popover, its settings or its break screen.
POPOVER_WINDOW, SETTINGS_WINDOW, BREAK_SCREEN = POPOVER[-1], SETTINGS[-1], "panel Break"
ROLES = ["push button", "check box", "radio button", "list item"]
CONTROL = f"({'|'.join(ROLES)}) .+"


def wait_until(condition, what, timeout=20.0):
    """`condition`'s first true value within `timeout` s, pyatspi (once imported) taking in news."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        glib = sys.modules.get("gi.repository.GLib")
        while glib and glib.MainContext.default().iteration(False):
            pass
        try:
            if value := condition():
                return value
        except Exception as error:  # an AT-SPI call that timed out on a loaded machine: ask again
            if not (glib and isinstance(error, glib.GError)):
                raise
        time.sleep(0.05)
    raise AssertionError(f"timed out waiting for {what}")


class Desktop:
    def __init__(self, lumora):
        self.lumora, self.scratch = lumora, tempfile.mkdtemp(prefix="lumora-a11y-")
        self.processes, self.home = [], self.scratch + "/home"
        self.env = {"PATH": os.environ["PATH"], "HOME": self.home, "LANG": "C.UTF-8", "TZ": "UTC",
                    "XDG_RUNTIME_DIR": self.scratch + "/run", "QT_QPA_PLATFORM": "xcb",
                    "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        # A sanitizer build's settings (make test-asan) reach lumora as they reach every test.
        self.env.update({k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")})
        os.makedirs(self.home)
        os.makedirs(self.env["XDG_RUNTIME_DIR"], mode=0o700)

    def start(self):
        read, write = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24", "-nolisten",
                    "tcp", "-noreset", "-auth", "/dev/null"],
                   pass_fds=(write,), stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as pipe:
            self.env["DISPLAY"] = ":" + pipe.readline().strip()
        with open(self.scratch + "/bus.conf", "w") as config:
            config.write(BUS_CONFIG.format(self.env["XDG_RUNTIME_DIR"]))
        bus = self.spawn(["dbus-daemon", "--config-file=" + config.name, "--nofork",
                          "--print-address"], stdout=subprocess.PIPE, text=True)
        # The system bus is this one too: nothing reaches the machine's.
        self.env["DBUS_SESSION_BUS_ADDRESS"] = self.env["DBUS_SYSTEM_BUS_ADDRESS"] = \
            bus.stdout.readline().strip()
        self.spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        address = wait_until(lambda: subprocess.run(
            ["dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus",
             "/org/a11y/bus", "org.a11y.Bus.GetAddress"], env=self.env, capture_output=True,
            text=True).stdout.strip(), "the accessibility bus")
        # pyatspi, imported afterwards, talks to these buses; Lumora (Qt 6.4) finds the
        # accessibility bus through the session bus, as on a desktop.
        os.environ.update(self.env, AT_SPI_BUS_ADDRESS=address)

    def stop(self):
        for process in self.processes[::-1]:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGTERM)
                try:
                    process.wait(5)
                except subprocess.TimeoutExpired:
                    os.killpg(process.pid, signal.SIGKILL)
        shutil.rmtree(self.scratch, ignore_errors=True)

    def spawn(self, command, **options):  # in a process group of its own, ended with what it starts
        self.processes.append(subprocess.Popen(command, env=self.env, start_new_session=True,
                                               **options))
        return self.processes[-1]

    def run(self, *arguments, check=True):
        return subprocess.run([self.lumora, *arguments], env=self.env, capture_output=True,
                              check=check, timeout=30)

    def start_tray(self):
        """Codex (70% left) and Claude Code (58% left) connected, then lumora started."""
        codex, claude = self.scratch + "/codex", self.scratch + "/claude"
        for path, text in ((codex, FAKE_CODEX.replace("RESETS", str(int(time.time()) + 3600))),
                           (claude, '#!/bin/sh\necho "2.0.0 (Claude Code)"\n')):
            with open(path, "w") as script:
                script.write(text)
            os.chmod(path, 0o755)
        self.env.update(LUMORA_CODEX_PATH=codex, LUMORA_CLAUDE_PATH=claude)
        for tool in ("codex", "claude"):
            self.run("connect", tool)
        limit = {"used_percentage": 42, "resets_at": int(time.time()) + 8130}
        status = {"model": {"display_name": "Opus"}, "rate_limits": {"five_hour": limit}}
        subprocess.run(["sh", self.home + "/.local/share/Lumora/claude-statusline.sh"],
                       input=json.dumps(status), env=self.env, text=True, check=True,
                       stdout=subprocess.DEVNULL)
        self.tray = self.spawn([self.lumora])
        wait_until(lambda: self.run("popover", check=False).returncode == 0, "lumora's tray")

    def codex_runs(self):
        with open(self.scratch + "/codex.runs") as runs:
            return runs.read().count("app-server")

    def preference(self, key):
        try:
            with open(self.home + "/.config/Lumora/preferences.json") as stored:
                return json.load(stored).get(key)
        except (OSError, ValueError):
            return None


def test(desktop):
    import pyatspi
    from gi.repository import Atspi

    # Calls into Lumora wait up to 10 s rather than AT-SPI's 0.8 s: a loaded machine is slow.
    Atspi.set_timeout(10000, 60000)

    def nodes(node):
        """Every object under `node` (none under None), depth first."""
        children = [node.getChildAtIndex(i) for i in range(node.childCount if node else 0)]
        return [n for child in children if child for n in [child, *nodes(child)]]

    said = lambda node: f"{node.getRoleName()} {node.name}"
    has = lambda node, state: node.getState().contains(state)

    def window(having):
        """Lumora's shown window in which some object reads `having` (a "role name")."""
        desk = pyatspi.Registry.getDesktop(0)
        # Every question goes to Lumora: Qt does not announce all a cache would need.
        desk.set_cache_mask(Atspi.Cache.NONE)
        apps = [desk.getChildAtIndex(i) for i in range(desk.childCount)]
        app = next((a for a in apps if a and a.name == "Lumora"), None)
        windows = [app.getChildAtIndex(i) for i in range(app.childCount)] if app else []
        return next((w for w in windows if w and has(w, pyatspi.STATE_SHOWING)
                     and any(said(n) == having for n in nodes(w))), None)

    def controls(of, shown=True):
        """What takes the focus in `of`, in the tree's order, but texts and scroll bars."""
        return [n for n in nodes(of) if n.getRoleName() not in ("label", "scroll bar") and
                has(n, pyatspi.STATE_FOCUSABLE) and (has(n, pyatspi.STATE_SHOWING) or not shown)]

    def focus(within):
        # The innermost focused object: a focus scope around it reports the focus too.
        found = [said(n) for n in nodes(window(within)) if has(n, pyatspi.STATE_FOCUSED)]
        return found[-1] if found else ""

    def press(*keys, focus_on=None, within=POPOVER_WINDOW):
        """Types `keys`, then waits for the focus on what matches `focus_on` in that window."""
        if keys:
            subprocess.run(["xdotool", "key", "--delay", "20", *keys], env=desktop.env, check=True)
        if focus_on:
            wait_until(lambda: re.fullmatch(focus_on, focus(within)),
                       f"the focus on {focus_on!r} (it is on {focus(within)!r})")

    shows = lambda having: wait_until(lambda: window(having), f"the window with {having!r}")
    gone = lambda having: wait_until(lambda: window(having) is None, f"{having!r} to close")
    saved = lambda name, value: wait_until(lambda: desktop.preference(name) == value,
                                           f"{name} saved as {value}")

    def open_popover():
        desktop.run("popover")
        press(focus_on=POPOVER[0])

    def popover_controls():
        found = controls(window(POPOVER_WINDOW))
        return found if sum("percent left" in node.name for node in found) == 2 else None

    # The screen reader's popover: each control with its role and name, in visual order.
    desktop.start_tray()  # and the popover with it, on its first control
    press(focus_on=POPOVER[0])
    found = wait_until(popover_controls, "the popover with both cards' figures")
    print("popover:", *map(said, found), sep="\n  ")
    assert len(found) == len(POPOVER), [said(n) for n in found]
    for node, pattern in zip(found, POPOVER):
        assert re.fullmatch(pattern, said(node)), f"{said(node)!r} is not {pattern!r}"
    assert "Alt+Up" in found[1].description, found[1].description

    # "Break" pressed through AT-SPI: the popover goes and the break screen comes; Escape ends it.
    found[5].queryAction().doAction(0)
    shows(BREAK_SCREEN)
    gone(POPOVER_WINDOW)
    press("Escape")
    gone(BREAK_SCREEN)

    # By keyboard: Tab walks every control in visual order and comes round; Shift+Tab walks back.
    open_popover()
    for expected in POPOVER[1:] + POPOVER[:1]:
        press("Tab", focus_on=expected)
    for expected in POPOVER[::-1]:
        press("shift+Tab", focus_on=expected)

    # Space on Refresh asks Codex again; the focus stays.
    runs = desktop.codex_runs()
    press("space", focus_on=POPOVER[0])
    wait_until(lambda: desktop.codex_runs() > runs, "a refresh by Space")

    # Alt+Down and Alt+Up move the focused card, keeping the focus; the order is saved as a drag
    # saves it, and Tab follows the new order.
    press("Tab", "alt+Down", focus_on=CODEX)
    saved("providerOrder", ["claude-code", "codex"])
    press("Tab", focus_on=POPOVER[2])
    press("shift+Tab", "shift+Tab", "shift+Tab", focus_on=CLAUDE)
    press("Tab", "Tab", "alt+Up", focus_on=CODEX)
    saved("providerOrder", ["codex", "claude-code"])

    # Space and Enter on a switch turn it off and on again.
    press("Tab", focus_on=POPOVER[2])
    switch = next(n for n in nodes(window(POPOVER_WINDOW)) if said(n) == POPOVER[2])
    assert has(switch, pyatspi.STATE_CHECKED)
    press("space")
    saved("showCodexInMenuBar", False)
    press("Return")
    saved("showCodexInMenuBar", True)

    # Enter on Settings opens them, in place of the popover, on a control of their own.
    press("Tab", "Tab", "Tab", "Tab", focus_on=POPOVER[6])
    press("Return", focus_on=CONTROL, within=SETTINGS_WINDOW)
    gone(POPOVER_WINDOW)
    # To a screen reader every settings control has a name (but while hidden: the download
    # button without an update).
    every = controls(shows(SETTINGS_WINDOW), shown=False)
    print("settings:", *map(said, every), sep="\n  ")
    for node in every:
        named = node.name or not has(node, pyatspi.STATE_VISIBLE)
        assert node.getRoleName() in ROLES and named, f"{said(node)!r} in the settings"
    assert set(SETTINGS) <= set(map(said, every)), set(SETTINGS) - set(map(said, every))
    press("Tab", focus_on=CONTROL, within=SETTINGS_WINDOW)
    press("Escape")
    gone(SETTINGS_WINDOW)

    # Escape closes the popover, which opens again on its first control; Enter on Quit ends it.
    open_popover()
    press("Tab", focus_on=CODEX)
    press("Escape")
    gone(POPOVER_WINDOW)
    open_popover()
    press("shift+Tab", focus_on=POPOVER[-1])
    press("Return")
    assert desktop.tray.wait(15) == 0


if __name__ == "__main__":
    desktop = Desktop(sys.argv[1])
    try:
        desktop.start()
        test(desktop)
    finally:
        desktop.stop()
    print("PASS")
