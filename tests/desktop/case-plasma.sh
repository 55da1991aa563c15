# KDE Plasma 5.27's own shell under Xvfb, rendering in software: kded runs the
# StatusNotifierWatcher, plasmashell one panel with the system tray. The tray shows Lumora's icon
# and, under the pointer, its tool tip; a left click (Activate) starts a break, a right click
# (ContextMenu: Lumora has no menu here) opens the popover next to the icon.
source "$(dirname "$0")/lib.sh"
need plasmashell kded5 kwin_x11
activities=/usr/lib/x86_64-linux-gnu/libexec/kactivitymanagerd
[ -x "$activities" ] || skip "kactivitymanagerd is not installed (scripts/setup.sh desktop)"
# One panel along the top holding the system tray, whose items live in a containment of their own;
# none of the tray's own applets, so that only status notifier items show there.
cat >"$XDG_CONFIG_HOME/plasma-org.kde.plasma.desktop-appletsrc" <<EOF
[Containments][1]
formfactor=2
location=3
lastScreen=0
plugin=org.kde.panel
[Containments][1][Applets][2]
plugin=org.kde.plasma.systemtray
[Containments][1][Applets][2][Configuration]
SystrayContainmentId=3
[Containments][3]
formfactor=2
location=3
lastScreen=0
plugin=org.kde.plasma.private.systemtray
[Containments][3][General]
extraItems=
knownItems=$(cd /usr/share/plasma/plasmoids && grep -l '"X-Plasma-NotificationArea"' */metadata.json | cut -d/ -f1 | paste -sd,)
EOF
# No item of plasmashell's own telling that it renders in software.
cat >"$XDG_CONFIG_HOME/plasmashellrc" <<EOF
[PlasmaViews][Panel 1][Defaults]
thickness=36
[softwarerenderer]
neverShow=true
EOF
export XDG_CURRENT_DESKTOP=KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=5 XDG_SESSION_TYPE=x11
export QT_QUICK_BACKEND=software QT_XCB_GL_INTEGRATION=none LIBGL_ALWAYS_SOFTWARE=1 KWIN_COMPOSE=N

start_bus session
start_xvfb 1280x800
spawn kwin kwin_x11 --replace # KWin, without compositing: the work area leaves out the panel
wait_until 30 "KWin did not take the window manager selection (log: $OUT/kwin.log)" \
    sh -c "xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'"
spawn kded kded5
wait_until 30 "kded did not start the StatusNotifierWatcher (log: $OUT/kded.log)" \
    bus_has org.kde.StatusNotifierWatcher
spawn activities "$activities" # without it plasmashell loads no shell
wait_until 20 "kactivitymanagerd did not start (log: $OUT/activities.log)" bus_has org.kde.ActivityManager
spawn plasmashell plasmashell --no-respawn
host_registered() { watcher IsStatusNotifierHostRegistered | grep -q true; }
wait_until 60 "plasmashell's system tray did not register with the watcher (log: $OUT/plasmashell.log)" host_registered
panel_geometry plasmashell
# The panel as drawn once nothing in it changes any more.
panel_settled() {
    grab "$OUT/before-lumora.png"
    sleep 0.5
    not differs "$SCRATCH/again.png" "$OUT/before-lumora.png" "$PANEL_X" "$PANEL_Y" "$PANEL_W" "$PANEL_H"
}
wait_until 30 "the panel did not settle" panel_settled
ok "plasmashell $(plasmashell --version 2>/dev/null | awk '{print $2}') shows its panel (${PANEL_W}x${PANEL_H} at $PANEL_X,$PANEL_Y) with the system tray; kded runs the watcher"

connect_fake_tools 30 42
expected_status="$("$LUMORA" status)"
start_lumora
find_icon panel-with-item "$OUT/before-lumora.png" "$PANEL_X" "$PANEL_Y" "$PANEL_W" "$PANEL_H"
sni_property ToolTip | grep -qF "'Lumora', '$expected_status'" ||
    fail "the item's tool tip is not \"$expected_status\": $(sni_property ToolTip)"
# Under the pointer the tray shows the tool tip: a window of plasmashell's next to the icon.
xdotool mousemove "$CX" "$CY"
wait_until 15 "the tray showed no tool tip for the item" shown_window plasmashell TOOLTIP
screenshot_x_changed tool-tip "$OUT/panel-with-item.png" 0 "$((PANEL_Y + PANEL_H))" 1280 200
ok "the tray shows the item's tool tip \"Lumora\", \"$expected_status\""
xdotool mousemove 640 600

click_item 1 Activate
expect_break "a left click on the icon" "$OUT/panel-with-item.png"
end_break
xdotool mousemove 640 600
wait_until 10 "the panel did not show its icon again after the break" \
    not differs "$SCRATCH/now.png" "$OUT/panel-with-item.png" "$PANEL_X" "$PANEL_Y" "$PANEL_W" "$PANEL_H"

click_item 3 ContextMenu
wait_until 15 "a right click did not open the popover next to the icon" popover_near_icon
screenshot_x_changed popover "$OUT/panel-with-item.png" 0 "$((PANEL_Y + PANEL_H))" 1280 400
ok "a right click on the icon opened the popover next to it"
quit_lumora
