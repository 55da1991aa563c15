# KDE Plasma 5.27's shell under Xvfb (kded's StatusNotifierWatcher): the tray shows the icon and its tool tip; a left click
# (Activate) starts a break, a right click (ContextMenu: Lumora has no menu here) opens the popover next to the icon.
source "$(dirname "$0")/lib.sh"
need plasmashell kded5 kwin_x11
activities=/usr/lib/x86_64-linux-gnu/libexec/kactivitymanagerd && [ -x "$activities" ] || skip "kactivitymanagerd is not installed (scripts/setup.sh desktop)"
# One panel along the top holding the system tray, none of the tray's own applets; no notice of software rendering.
known=$(cd /usr/share/plasma/plasmoids && grep -l '"X-Plasma-NotificationArea"' */metadata.json | cut -d/ -f1 | paste -sd,)
panel='formfactor=2\nlocation=3\nlastScreen=0\nplugin=org.kde'
printf "[Containments][1]\n$panel.panel\n[Containments][1][Applets][2]\nplugin=org.kde.plasma.systemtray
[Containments][1][Applets][2][Configuration]\nSystrayContainmentId=3\n[Containments][3]\n$panel.plasma.private.systemtray
[Containments][3][General]\nextraItems=\nknownItems=%s\n" "$known" >"$XDG_CONFIG_HOME/plasma-org.kde.plasma.desktop-appletsrc"
printf '[PlasmaViews][Panel 1][Defaults]\nthickness=36\n[softwarerenderer]\nneverShow=true\n' >"$XDG_CONFIG_HOME/plasmashellrc"
export XDG_CURRENT_DESKTOP=KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=5 XDG_SESSION_TYPE=x11
export QT_QUICK_BACKEND=software QT_XCB_GL_INTEGRATION=none LIBGL_ALWAYS_SOFTWARE=1 KWIN_COMPOSE=N
start_bus session && start_xvfb 1280x800
spawn kwin kwin_x11 --replace && up 30 "KWin did not take the window manager selection" wm_running # no compositing: the work area leaves out the panel
spawn kded kded5 && up 30 "kded did not start the StatusNotifierWatcher" bus_has org.kde.StatusNotifierWatcher
spawn activities "$activities" && up 20 "kactivitymanagerd did not start" bus_has org.kde.ActivityManager # or plasmashell loads no shell
host_registered() { watcher IsStatusNotifierHostRegistered | grep -q true; }
spawn plasmashell plasmashell --no-respawn && up 60 "plasmashell's system tray did not register with the watcher" host_registered
panel_geometry plasmashell && panel_settled() { grab "$SCRATCH/settled.png" && sleep 0.5 && not differs "$SCRATCH/again.png" "$SCRATCH/settled.png" "${PANEL[@]}"; }
wait_until 30 "the panel did not settle" panel_settled && show_icon && status="$("$LUMORA" status)"
sni_property ToolTip | grep -qF "'Lumora', '$status'" || fail "the item's tool tip is not \"$status\": $(sni_property ToolTip)"
xdotool mousemove "$CX" "$CY" && wait_until 15 "the tray showed no tool tip for the item" shown_window plasmashell TOOLTIP
screenshot_changed tool-tip "$OUT/panel-with-item.png" $(below_panel) && ok "the tray shows the item's tool tip \"Lumora\", \"$status\""
xdotool mousemove 640 600 && click_item 1 Activate && expect_break "a left click on the icon" "$OUT/panel-with-item.png" && end_break
xdotool mousemove 640 600 && wait_until 10 "the panel did not show its icon again after the break" not differs "$SCRATCH/now.png" "$OUT/panel-with-item.png" "${PANEL[@]}"
popover_by_click 3 ContextMenu near && quit_lumora
