"""A private desktop for driving Lumora as a user would: an Xvfb display, a session bus and the
accessibility bus (at-spi2-core) of the test's own, a temporary home with a fake Codex CLI and
Claude Code whose figures Lumora shows, and lumora itself. Everything is ended on exit; nothing
reaches the real home, bus or display.

Imported by the tests before pyatspi: `start()` sets this process's environment to the private
buses and display, so that pyatspi (imported afterwards) talks to them.
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SKIP = 77  # ctest's SKIP_RETURN_CODE


def wait_until(condition, what, timeout=20.0):
    """Polls `condition` until it returns something true; fails after `timeout` seconds."""
    deadline = time.monotonic() + timeout
    while True:
        pump_events()
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError("timed out waiting for " + what)
        time.sleep(0.05)


def pump_events():
    """Lets pyatspi take in what the accessibility bus announced (applications coming and
    going, changed children): it does so only while GLib's main context runs."""
    if "pyatspi" in sys.modules:
        from gi.repository import GLib
        context = GLib.MainContext.default()
        while context.iteration(False):
            pass


def require(programs, modules=()):
    missing = [p for p in programs if not shutil.which(p) and not os.path.exists(p)]
    for module in modules:
        try:
            __import__(module)
        except ImportError:
            missing.append("python3 module " + module)
    if missing:
        print("SKIP: missing " + ", ".join(missing) + " (scripts/setup.sh installs them)")
        sys.exit(SKIP)


FAKE_CODEX = """#!/bin/sh
echo "$*" >> '{scratch}/codex-runs'
case "$1" in
login) echo 'Logged in using ChatGPT'; exit 0;;
--version) echo 'codex-cli 0.169.0'; exit 0;;
app-server)
    read -r _; echo '{{"id":1,"result":{{}}}}'
    read -r _; read -r _
    echo '{{"id":2,"result":{{"rateLimits":{{"primary":{{"usedPercent":30,"windowDurationMins":300,"resetsAt":{resets}}}}}}}}}'
    exec cat > /dev/null;;
esac
exit 2
"""


BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={run}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Session:
    def __init__(self, lumora):
        self.lumora = lumora
        self.scratch = tempfile.mkdtemp(prefix="lumora-a11y-")
        self.home = os.path.join(self.scratch, "home")
        self.processes = []
        self.tray = None
        self.env = None

    # --- start and end -------------------------------------------------------------------

    def start(self):
        env = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
            "HOME": self.home,
            "XDG_CONFIG_HOME": os.path.join(self.home, ".config"),
            "XDG_DATA_HOME": os.path.join(self.home, ".local/share"),
            "XDG_CACHE_HOME": os.path.join(self.home, ".cache"),
            "XDG_STATE_HOME": os.path.join(self.home, ".local/state"),
            "XDG_RUNTIME_DIR": os.path.join(self.scratch, "run"),
            "LC_ALL": "C.UTF-8",
            "LANG": "C.UTF-8",
            "TZ": "UTC",
        }
        for key in ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"):
            os.makedirs(env[key], mode=0o700, exist_ok=True)
        os.makedirs(os.path.join(self.scratch, "bin"))
        self.env = env
        env["DISPLAY"] = self._start_xvfb()
        # A session bus that starts no service of the machine's (a notification daemon).
        config = os.path.join(self.scratch, "session.conf")
        with open(config, "w") as written:
            written.write(BUS_CONFIG.format(run=env["XDG_RUNTIME_DIR"]))
        env["DBUS_SESSION_BUS_ADDRESS"] = self._start_output(
            ["dbus-daemon", "--config-file=" + config, "--nofork", "--print-address"])
        # Nothing may reach the machine's system bus either.
        env["DBUS_SYSTEM_BUS_ADDRESS"] = env["DBUS_SESSION_BUS_ADDRESS"]
        self._spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        address = wait_until(self._accessibility_bus, "the accessibility bus")
        env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        env["QT_QPA_PLATFORM"] = "xcb"
        # This process (pyatspi) talks to the same buses and display. Lumora finds the
        # accessibility bus through the session bus, as on a desktop (Qt 6.4 does not announce
        # itself on a bus named by AT_SPI_BUS_ADDRESS).
        os.environ.update(env)
        os.environ["AT_SPI_BUS_ADDRESS"] = address
        return self

    def stop(self):
        if self.tray and self.tray.poll() is None:
            self.tray.terminate()
            try:
                self.tray.wait(10)
            except subprocess.TimeoutExpired:
                self.tray.kill()
        for process in reversed(self.processes):
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGTERM)
                try:
                    process.wait(5)
                except subprocess.TimeoutExpired:
                    os.killpg(process.pid, signal.SIGKILL)
                    process.wait()
        shutil.rmtree(self.scratch, ignore_errors=True)

    def __enter__(self):
        return self.start()

    def __exit__(self, *exception):
        self.stop()

    def _spawn(self, command, **kwargs):
        # Each in a process group of its own, so that what it starts (the accessibility bus's
        # daemon and registry) ends with it.
        process = subprocess.Popen(command, env=self.env, start_new_session=True, **kwargs)
        self.processes.append(process)
        return process

    def _start_output(self, command):
        process = self._spawn(command, stdout=subprocess.PIPE, text=True)
        line = process.stdout.readline().strip()
        if not line:
            raise AssertionError(command[0] + " printed nothing")
        return line

    def _start_xvfb(self):
        read, write = os.pipe()
        self._spawn(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24", "-nolisten",
                     "tcp", "-auth", "/dev/null"], pass_fds=(write,), stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise AssertionError("Xvfb did not start")
        return ":" + number

    def _accessibility_bus(self):
        answer = subprocess.run(
            ["dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus",
             "/org/a11y/bus", "org.a11y.Bus.GetAddress"],
            env=self.env, capture_output=True, text=True)
        return answer.stdout.strip() if answer.returncode == 0 else None

    # --- Lumora --------------------------------------------------------------------------

    def connect_fake_tools(self):
        """Codex and Claude Code installed, connected through the command line and reporting
        figures: Codex 70% left of its session, Claude Code 58%."""
        bin_dir = os.path.join(self.scratch, "bin")
        codex = os.path.join(bin_dir, "codex")
        with open(codex, "w") as script:
            script.write(FAKE_CODEX.format(scratch=self.scratch, resets=int(time.time()) + 3600))
        claude = os.path.join(bin_dir, "claude")
        with open(claude, "w") as script:
            script.write('#!/bin/sh\necho "2.0.0 (Claude Code)"\n')
        os.chmod(codex, 0o755)
        os.chmod(claude, 0o755)
        self.env["LUMORA_CODEX_PATH"] = codex
        self.env["LUMORA_CLAUDE_PATH"] = claude
        for provider in ("codex", "claude"):
            self.run("connect", provider)
        resets = int(time.time()) + 2 * 3600 + 15 * 60 + 30
        status = {"model": {"display_name": "Opus"},
                  "rate_limits": {"five_hour": {"used_percentage": 42, "resets_at": resets}}}
        hook = os.path.join(self.env["XDG_DATA_HOME"], "Lumora", "claude-statusline.sh")
        subprocess.run(["sh", hook], input=json.dumps(status), env=self.env, text=True,
                       stdout=subprocess.DEVNULL, check=True)

    def run(self, *arguments, check=True):
        return subprocess.run([self.lumora, *arguments], env=self.env, capture_output=True,
                              text=True, check=check, timeout=30)

    def start_tray(self):
        self.tray = subprocess.Popen([self.lumora], env=self.env, cwd=self.home)
        # Up once it answers on the bus.
        wait_until(lambda: self.run("popover", check=False).returncode == 0, "lumora's tray")
        return self.tray

    def codex_runs(self):
        try:
            with open(os.path.join(self.scratch, "codex-runs")) as runs:
                return sum(1 for line in runs if line.startswith("app-server"))
        except FileNotFoundError:
            return 0

    def preferences(self):
        path = os.path.join(self.env["XDG_CONFIG_HOME"], "Lumora", "preferences.json")
        try:
            with open(path) as stored:
                return json.load(stored)
        except (FileNotFoundError, ValueError):
            return {}


# --- the accessibility tree --------------------------------------------------------------

def application(pyatspi, name="Lumora"):
    desktop = pyatspi.Registry.getDesktop(0)
    # Every question goes to the application: Qt does not announce every change (a window's
    # content, its activation) that a cached answer would need.
    from gi.repository import Atspi
    desktop.set_cache_mask(Atspi.Cache.NONE)
    for index in range(desktop.childCount):
        app = desktop.getChildAtIndex(index)
        if app is not None and app.name == name:
            return app
    return None


def descendants(node):
    """Every object under `node`, depth first in the order of the tree."""
    found = []
    for index in range(node.childCount):
        child = node.getChildAtIndex(index)
        if child is not None:
            found.append(child)
            found.extend(descendants(child))
    return found


def showing_window(pyatspi, app, predicate):
    """The first shown top-level object of the application that `predicate` accepts."""
    for index in range(app.childCount):
        window = app.getChildAtIndex(index)
        if window is not None and window.getState().contains(pyatspi.STATE_SHOWING) and \
                predicate(window):
            return window
    return None
