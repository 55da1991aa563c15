#pragma once

// The value extraction behind lumora-json, the small helper that Lumora's Claude Code status-line
// hook runs on every status update. It has no dependency beyond the C++ standard library on
// purpose: the hook runs it twice per update, so its start-up time is what the user waits for.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::jsontool {

enum class Format {
    json, // the value's JSON text, exactly as it stands in the input
    raw,  // a scalar as plain text: a string decoded, a number or boolean as written
};

// Inputs larger than this are refused as a whole (Claude Code's status documents are a few KiB).
inline constexpr std::size_t maximumInputSize = 16 * 1024 * 1024;
// Deeper nesting is refused rather than risking the stack.
inline constexpr int maximumDepth = 512;

struct ExtractResult {
    std::optional<std::string> value; // present on success
    std::string error;                // why there is no value
};

// Validates `document` as exactly one JSON text (RFC 8259: UTF-8, no trailing garbage) and
// returns the value found at `keyPath`. The key path is a list of components separated by ".";
// a component names an object member, or, on an array, a decimal index. Where a member name
// occurs twice the later one counts, as in most JSON readers. A null value counts as absent. In
// raw form objects and arrays are refused, since they have no plain-text form.
ExtractResult extract(std::string_view document, std::string_view keyPath, Format format);

} // namespace lumora::jsontool
