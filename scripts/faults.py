#!/usr/bin/env python3
"""Deliberate faults for checking that the test suite catches them: `faults.py` lists them,
`faults.py CHECKOUT N` puts fault N into CHECKOUT (each must change exactly one place)."""
import sys, pathlib
FAULTS = {
 1: ("off-by-one in the percentage rounding", "core/UsageSnapshot.cpp",
     "std::round((1.0 - ratio) * 100.0)", "std::floor((1.0 - ratio) * 100.0)"),
 2: ("a foreign member dropped from Claude Code's settings.json", "core/ClaudeStatusLineInstaller.cpp",
     "    std::optional<QString> previous = backedUpStatusLineCommand();",
     "    for (const QString& k : settings.keys()) { if (k != statusLineKey) { settings.remove(k); break; } }\n    std::optional<QString> previous = backedUpStatusLineCommand();"),
 3: ("the 80% notification sent again on every refresh above 80%", "app/model/UsageNotifications.cpp",
     "*previousRatio < warningRatio;", "*previousRatio < 1.0;"),
 4: ("a window whose reset time has passed not treated as reset", "core/ClaudeRateLimitCacheParser.cpp",
     "if (reset <= now) {", "if (false && reset <= now) {"),
 5: ("the popover's card order not saved", "app/model/AppPreferences.cpp",
     "    assign(m_providerOrder, order, &AppPreferences::providerOrderChanged,\n           preferencekeys::providerOrder, QJsonArray::fromStringList(order));",
     "    m_providerOrder = order;\n    emit providerOrderChanged();"),
 6: ("Codex's primary and secondary windows swapped", "core/CodexRateLimitParser.cpp",
     'RateLimitRecord record{decodeWindow(object.value(QLatin1String("primary"))),\n                           decodeWindow(object.value(QLatin1String("secondary"))),',
     'RateLimitRecord record{decodeWindow(object.value(QLatin1String("secondary"))),\n                           decodeWindow(object.value(QLatin1String("primary"))),'),
 7: ("an update feed or download over plain HTTP accepted", "core/AppUpdate.cpp",
     'return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;',
     'return url.scheme().startsWith(QLatin1String("http"), Qt::CaseInsensitive);'),
 8: ("a pre-release ordered after its release", "core/ParsedVersion.cpp",
     "return true; // a pre-release orders before its release", "return false; // a pre-release orders before its release"),
 9: ("the history keeps an unchanged figure only after 11 minutes, not 10", "app/history/HistoryStore.cpp",
     "since < unchangedFigureSeconds", "since < unchangedFigureSeconds + 60"),
 10: ("the pace ignores that use has not moved for 30 minutes", "app/history/UsagePace.cpp",
     "if (heldSince.secsTo(now) >= paceIdleSeconds) {", "if (heldSince.secsTo(now) >= 10 * paceIdleSeconds) {"),
 11: ("the panel text joins the tools with a bar instead of a middle dot", "core/MenuBarDisplayFormatter.cpp",
     'parts.join(QStringLiteral(" \\u00B7 "))', 'parts.join(QStringLiteral(" | "))'),
}
if len(sys.argv) < 3:
    for n, f in FAULTS.items(): print(n, f[0], "--", f[1])
    sys.exit(0)
root = pathlib.Path(sys.argv[1]); n = int(sys.argv[2])
desc, path, old, new = FAULTS[n]
p = root / path; text = p.read_text()
if text.count(old) != 1:
    sys.exit(f"fault {n}: pattern found {text.count(old)} times in {path}")
p.write_text(text.replace(old, new)); print(f"fault {n} applied: {desc}")
