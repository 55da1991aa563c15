#!/usr/bin/python3
"""Lumora (argv[1]) as a screen reader (AT-SPI) and a keyboard (xdotool) meet it, on a display and buses of its own."""
import importlib.util, json, os, pathlib, re, shutil, signal, subprocess, sys, tempfile, time

TOOLS = ["Xvfb", "dbus-daemon", "dbus-send", "xdotool", "/usr/libexec/at-spi-bus-launcher"]
# pyatspi is imported only once the buses are the test's own.
if not all(map(shutil.which, TOOLS)) or not importlib.util.find_spec("pyatspi"):
    print("SKIP: missing one of", *TOOLS, "pyatspi (scripts/setup.sh installs them)")
    sys.exit(77)  # ctest's SKIP_RETURN_CODE
# A session bus that starts no service of the machine's (a notification daemon, say).
BUS_CONFIG = """<busconfig><type>session</type><listen>unix:dir={}</listen><policy context="default">
<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""
# The popover's controls in visual order, which is also the Tab order: "role name" patterns.
CODEX = r"list item Codex, 70 percent left, Session limit, resets in (59|60) minutes?"
CLAUDE = r"list item Claude Code, 58 percent left, Session limit, resets in 2 hours 1[45] minutes?"
POPOVER = ["push button Refresh", CODEX, "check box Show Codex in the menu bar", CLAUDE,
           "check box Show Claude Code in the menu bar", "push button Break", "push button Settings",
           "push button Quit Lumora"]
SETTINGS = ["push button Refresh Now", "radio button Photo", "radio button Motion", "radio button Minimal",
            "push button Text Color", "push button Reset to White", "check box Usage and reset notifications",
            "check box Start Lumora at login"]
# What shows that a window is Lumora's popover, its settings or its break screen.
POPOVER_WINDOW, SETTINGS_WINDOW, BREAK_SCREEN = POPOVER[-1], SETTINGS[-1], "panel Break"
ROLES = ["push button", "check box", "radio button", "list item"]
CONTROL = f"({'|'.join(ROLES)}) .+"
LUMORA, SCRATCH, PROCESSES = sys.argv[1], tempfile.mkdtemp(prefix="lumora-a11y-"), []
HOME, RUN, NOW = SCRATCH + "/home", SCRATCH + "/run", int(time.time())
ENV = {"PATH": os.environ["PATH"], "HOME": HOME, "LANG": "C.UTF-8", "TZ": "UTC", "XDG_RUNTIME_DIR": RUN,
       "QT_QPA_PLATFORM": "xcb", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",  # and a sanitizer build's settings:
       **{k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")}}

def wait_until(condition, what, timeout=20.0):
    """`condition`'s first true value within `timeout` s, asked again after a timed-out AT-SPI call or a missing file."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        glib = sys.modules.get("gi.repository.GLib")
        while glib and glib.MainContext.default().iteration(False):
            pass
        try:
            if value := condition(): return value
        except (OSError, ValueError, KeyError, *([glib.GError] if glib else [])): pass
        time.sleep(0.05)
    raise AssertionError(f"timed out waiting for {what}")

def spawn(command, **options):  # in a process group of its own, ended with what it starts
    PROCESSES.append(subprocess.Popen(command, env=ENV, start_new_session=True, **options))
    return PROCESSES[-1]

def run(*command, check=True, **options):
    return subprocess.run(command, env=ENV, capture_output=True, text=True, check=check, timeout=30, **options)

def write(path, text):
    pathlib.Path(path).write_text(text)
    os.chmod(path, 0o755)

try:
    # Xvfb, the session bus (the system bus too: nothing reaches the machine's), the a11y bus.
    os.makedirs(HOME)
    os.makedirs(RUN, mode=0o700)
    xvfb = spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset",
                  "-auth", "/dev/null"], stdout=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL)
    ENV["DISPLAY"] = ":" + xvfb.stdout.readline().strip()
    write(SCRATCH + "/bus.conf", BUS_CONFIG.format(RUN))
    bus = spawn(["dbus-daemon", "--config-file=" + SCRATCH + "/bus.conf", "--nofork", "--print-address"],
                stdout=subprocess.PIPE, text=True)
    ENV["DBUS_SESSION_BUS_ADDRESS"] = ENV["DBUS_SYSTEM_BUS_ADDRESS"] = bus.stdout.readline().strip()
    spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
    address = wait_until(lambda: run("dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus",
                                     "/org/a11y/bus", "org.a11y.Bus.GetAddress", check=False).stdout.strip(),
                         "the accessibility bus")
    # pyatspi, imported now, talks to these buses; Lumora (Qt 6.4) finds the a11y bus through the session bus.
    os.environ.update(ENV, AT_SPI_BUS_ADDRESS=address)
    import pyatspi
    from gi.repository import Atspi
    Atspi.set_timeout(10000, 60000)  # calls into Lumora wait 10 s, not 0.8 s: a loaded machine
    # Codex (70% left) and Claude Code (58% left) connected, then lumora started, its popover on its first control.
    shutil.copy(os.path.dirname(__file__) + "/../desktop/fake-codex.sh", SCRATCH + "/codex")
    write(SCRATCH + "/codex.used", "30")
    write(SCRATCH + "/codex.resets", str(NOW + 3600))
    write(SCRATCH + "/claude", '#!/bin/sh\necho "2.0.0 (Claude Code)"\n')
    ENV.update(LUMORA_CODEX_PATH=SCRATCH + "/codex", LUMORA_CLAUDE_PATH=SCRATCH + "/claude")
    for tool in ("codex", "claude"): run(LUMORA, "connect", tool)
    run("sh", HOME + "/.local/share/Lumora/claude-statusline.sh", input=json.dumps({"model": {"display_name": "Opus"},
        "rate_limits": {"five_hour": {"used_percentage": 42, "resets_at": NOW + 8130}}}))
    tray = spawn([LUMORA])
    wait_until(lambda: run(LUMORA, "popover", check=False).returncode == 0, "lumora's tray")
    said = lambda node: f"{node.getRoleName()} {node.name}"
    has = lambda node, state: node.getState().contains(state)
    children = lambda node: [c for c in map(node.getChildAtIndex, range(node.childCount)) if c] if node else []
    nodes = lambda node: [n for child in children(node) for n in [child, *nodes(child)]]
    def window(having):  # Lumora's shown window in which some object reads `having`
        desk = pyatspi.Registry.getDesktop(0)
        desk.set_cache_mask(Atspi.Cache.NONE)  # Qt does not announce all that a cache would need
        app = next((a for a in children(desk) if a.name == "Lumora"), None)
        return next((w for w in children(app) if has(w, pyatspi.STATE_SHOWING)
                     and any(said(n) == having for n in nodes(w))), None)
    def controls(of, shown=True):  # what takes the focus in `of`, but texts and scroll bars
        return [n for n in nodes(of) if n.getRoleName() not in ("label", "scroll bar") and
                has(n, pyatspi.STATE_FOCUSABLE) and (has(n, pyatspi.STATE_SHOWING) or not shown)]
    def focus(within):  # the innermost focused object: a focus scope around it reports it too
        found = [said(n) for n in nodes(window(within)) if has(n, pyatspi.STATE_FOCUSED)]
        return found[-1] if found else ""
    def press(*keys, focus_on=None, within=POPOVER_WINDOW, closes=None):  # then the focus is on `focus_on`, or `closes` went
        if keys: run("xdotool", "key", "--delay", "20", *keys)
        if focus_on: wait_until(lambda: re.fullmatch(focus_on, focus(within)),
                                f"the focus on {focus_on!r} (it is on {focus(within)!r})")
        if closes: gone(closes)
    shows = lambda having: wait_until(lambda: window(having), f"the window with {having!r}")
    gone = lambda having: wait_until(lambda: window(having) is None, f"{having!r} to close")
    preferences = pathlib.Path(HOME, ".config/Lumora/preferences.json")
    saved = lambda name, value: wait_until(lambda: json.loads(preferences.read_text())[name] == value,
                                           f"{name} = {value}")
    opened = lambda: run(LUMORA, "popover") and press(focus_on=POPOVER[0])
    # The screen reader's popover: each control with its role and name, in visual order.
    press(focus_on=POPOVER[0])
    found = wait_until(lambda: (c := controls(window(POPOVER_WINDOW))) and
                       sum("percent left" in n.name for n in c) == 2 and c, "the popover with both cards' figures")
    names = [said(n) for n in found]
    assert len(names) == len(POPOVER) and all(map(re.fullmatch, POPOVER, names)), names
    assert "Alt+Up" in found[1].description, found[1].description
    # "Break" pressed through AT-SPI: the popover goes and the break screen comes; Escape ends it.
    found[5].queryAction().doAction(0)
    shows(BREAK_SCREEN) and gone(POPOVER_WINDOW)
    press("Escape", closes=BREAK_SCREEN)
    # By keyboard: Tab walks every control in visual order and comes round; Shift+Tab walks back.
    opened()
    for key, order in (("Tab", POPOVER[1:] + POPOVER[:1]), ("shift+Tab", POPOVER[::-1])):
        for expected in order:
            press(key, focus_on=expected)
    # Space on Refresh asks Codex again; the focus stays.
    codex_runs = lambda: pathlib.Path(SCRATCH, "codex.runs").read_text().count("app-server")
    runs = codex_runs()
    press("space", focus_on=POPOVER[0])
    wait_until(lambda: codex_runs() > runs, "a refresh by Space")
    # Alt+Down and Alt+Up move the focused card, keeping the focus; the order is saved, and Tab follows it.
    press("Tab", "alt+Down", focus_on=CODEX)
    saved("providerOrder", ["claude-code", "codex"])
    press("Tab", focus_on=POPOVER[2])
    press("shift+Tab", "shift+Tab", "shift+Tab", focus_on=CLAUDE)
    press("Tab", "Tab", "alt+Up", focus_on=CODEX)
    saved("providerOrder", ["codex", "claude-code"])
    # Space and Enter on a switch turn it off and on again.
    press("Tab", focus_on=POPOVER[2])
    assert has(next(n for n in nodes(window(POPOVER_WINDOW)) if said(n) == POPOVER[2]), pyatspi.STATE_CHECKED)
    press("space"); saved("showCodexInMenuBar", False)
    press("Return"); saved("showCodexInMenuBar", True)
    # Enter on Settings opens them, in place of the popover, on a control of their own.
    press("Tab", "Tab", "Tab", "Tab", focus_on=POPOVER[6])
    press("Return", focus_on=CONTROL, within=SETTINGS_WINDOW)
    gone(POPOVER_WINDOW)
    # To a screen reader every settings control has a name (but while hidden: the download button without an update).
    every = [(said(n), n.getRoleName() in ROLES and bool(n.name or not has(n, pyatspi.STATE_VISIBLE)))
             for n in controls(shows(SETTINGS_WINDOW), shown=False)]
    assert all(named for _, named in every) and set(SETTINGS) <= {name for name, _ in every}, every
    press("Tab", focus_on=CONTROL, within=SETTINGS_WINDOW)
    press("Escape", closes=SETTINGS_WINDOW)
    # Escape closes the popover, which opens again on its first control; Enter on Quit ends it.
    opened()
    press("Tab", focus_on=CODEX)
    press("Escape", closes=POPOVER_WINDOW)
    opened()
    press("shift+Tab", focus_on=POPOVER[-1])
    press("Return")
    assert tray.wait(15) == 0
finally:
    for process in PROCESSES[::-1]:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGTERM)
            try: process.wait(5)
            except subprocess.TimeoutExpired: os.killpg(process.pid, signal.SIGKILL)
    shutil.rmtree(SCRATCH, ignore_errors=True)
print("PASS")
