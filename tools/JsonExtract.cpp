#include "JsonExtract.h"

#include <cstdint>
#include <vector>

namespace lumora::jsontool {
namespace {

std::vector<std::string_view> splitKeyPath(std::string_view keyPath) {
    std::vector<std::string_view> components;
    std::size_t start = 0;
    while (true) {
        const std::size_t dot = keyPath.find('.', start);
        components.push_back(keyPath.substr(start, dot - start));
        if (dot == std::string_view::npos) {
            return components;
        }
        start = dot + 1;
    }
}

std::optional<std::size_t> arrayIndex(std::string_view component) {
    if (component.empty() || component.size() > 9) {
        return std::nullopt;
    }
    std::size_t index = 0;
    for (const char c : component) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        index = index * 10 + static_cast<std::size_t>(c - '0');
    }
    return index;
}

void appendUtf8(std::string& out, std::uint32_t codePoint) {
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (codePoint >> 18));
        out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

// A validating recursive-descent reader that remembers where the value at the key path starts
// and ends. It builds no tree: the only things it keeps are decoded member names on the path.
class Reader {
public:
    Reader(std::string_view text, std::vector<std::string_view> path)
        : m_text(text), m_path(std::move(path)) {}

    // True when the whole text is one valid JSON value.
    bool read() {
        skipSpace();
        if (!value(0, 0)) {
            return false;
        }
        skipSpace();
        if (m_pos != m_text.size()) {
            return fail("unexpected text after the JSON value");
        }
        return true;
    }

    const std::string& error() const { return m_error; }

    // Decodes a span already known to be one valid JSON string, quotes included.
    static std::string decodeString(std::string_view span) {
        Reader reader(span, {});
        std::string decoded;
        reader.string(&decoded);
        return decoded;
    }
    // The span of the value at the key path, when there is one.
    std::optional<std::string_view> target() const { return m_target; }

private:
    static constexpr std::size_t offPath = static_cast<std::size_t>(-1);

    bool fail(const char* message) {
        if (m_error.empty()) {
            m_error = message;
        }
        return false;
    }

    bool atEnd() const { return m_pos >= m_text.size(); }
    char peek() const { return m_text[m_pos]; }

    void skipSpace() {
        while (!atEnd()) {
            const char c = peek();
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
                return;
            }
            ++m_pos;
        }
    }

    // `matched` is how many key path components lead here, or offPath when this value is not on
    // the key path at all.
    bool value(int depth, std::size_t matched) {
        if (depth > maximumDepth) {
            return fail("the JSON document is nested too deeply");
        }
        if (atEnd()) {
            return fail("the JSON document ends too early");
        }
        const std::size_t start = m_pos;
        bool ok = false;
        switch (peek()) {
        case '{':
            ok = object(depth, matched);
            break;
        case '[':
            ok = array(depth, matched);
            break;
        case '"':
            ok = string(nullptr);
            break;
        case 't':
            ok = literal("true");
            break;
        case 'f':
            ok = literal("false");
            break;
        case 'n':
            ok = literal("null");
            break;
        default:
            ok = number();
            break;
        }
        if (ok && matched == m_path.size()) {
            m_target = m_text.substr(start, m_pos - start);
        }
        return ok;
    }

    std::size_t next(std::size_t matched, bool onPath) const {
        return onPath && matched != offPath && matched < m_path.size() ? matched + 1 : offPath;
    }

    bool object(int depth, std::size_t matched) {
        ++m_pos; // {
        skipSpace();
        if (!atEnd() && peek() == '}') {
            ++m_pos;
            return true;
        }
        std::string key;
        while (true) {
            skipSpace();
            if (atEnd() || peek() != '"') {
                return fail("expected a member name");
            }
            const bool wanted = matched != offPath && matched < m_path.size();
            key.clear();
            if (!string(wanted ? &key : nullptr)) {
                return false;
            }
            skipSpace();
            if (atEnd() || peek() != ':') {
                return fail("expected ':' after a member name");
            }
            ++m_pos;
            skipSpace();
            if (!value(depth + 1, next(matched, wanted && key == m_path[matched]))) {
                return false;
            }
            skipSpace();
            if (atEnd()) {
                return fail("the JSON document ends inside an object");
            }
            if (peek() == ',') {
                ++m_pos;
                continue;
            }
            if (peek() == '}') {
                ++m_pos;
                return true;
            }
            return fail("expected ',' or '}' in an object");
        }
    }

    bool array(int depth, std::size_t matched) {
        ++m_pos; // [
        skipSpace();
        if (!atEnd() && peek() == ']') {
            ++m_pos;
            return true;
        }
        const bool wanted = matched != offPath && matched < m_path.size();
        const std::optional<std::size_t> wantedIndex =
            wanted ? arrayIndex(m_path[matched]) : std::nullopt;
        for (std::size_t index = 0;; ++index) {
            skipSpace();
            if (!value(depth + 1, next(matched, wantedIndex && *wantedIndex == index))) {
                return false;
            }
            skipSpace();
            if (atEnd()) {
                return fail("the JSON document ends inside an array");
            }
            if (peek() == ',') {
                ++m_pos;
                continue;
            }
            if (peek() == ']') {
                ++m_pos;
                return true;
            }
            return fail("expected ',' or ']' in an array");
        }
    }

    bool literal(std::string_view word) {
        if (m_text.substr(m_pos, word.size()) != word) {
            return fail("unknown literal");
        }
        m_pos += word.size();
        return true;
    }

    bool digits() {
        const std::size_t start = m_pos;
        while (!atEnd() && peek() >= '0' && peek() <= '9') {
            ++m_pos;
        }
        return m_pos > start;
    }

    bool number() {
        if (!atEnd() && peek() == '-') {
            ++m_pos;
        }
        if (atEnd()) {
            return fail("the JSON document ends inside a number");
        }
        if (peek() == '0') {
            ++m_pos;
        } else if (!digits()) {
            return fail("unexpected character");
        }
        if (!atEnd() && peek() == '.') {
            ++m_pos;
            if (!digits()) {
                return fail("expected digits after '.'");
            }
        }
        if (!atEnd() && (peek() == 'e' || peek() == 'E')) {
            ++m_pos;
            if (!atEnd() && (peek() == '+' || peek() == '-')) {
                ++m_pos;
            }
            if (!digits()) {
                return fail("expected digits in an exponent");
            }
        }
        return true;
    }

    std::optional<std::uint32_t> hex4() {
        if (m_text.size() - m_pos < 4) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = m_text[m_pos++];
            value <<= 4;
            if (c >= '0' && c <= '9') {
                value |= static_cast<std::uint32_t>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                value |= static_cast<std::uint32_t>(c - 'a' + 10);
            } else if (c >= 'A' && c <= 'F') {
                value |= static_cast<std::uint32_t>(c - 'A' + 10);
            } else {
                return std::nullopt;
            }
        }
        return value;
    }

    // Checks one UTF-8 sequence starting at m_pos (whose first byte is 0x80 or above) and copies
    // it to `out` when given. Overlong forms, surrogates and values past U+10FFFF are refused.
    bool utf8Sequence(std::string* out) {
        const auto byte = [this](std::size_t at) {
            return static_cast<unsigned char>(m_text[at]);
        };
        const unsigned char lead = byte(m_pos);
        std::size_t length = 0;
        std::uint32_t codePoint = 0;
        std::uint32_t minimum = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            codePoint = lead & 0x1F;
            minimum = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            codePoint = lead & 0x0F;
            minimum = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            codePoint = lead & 0x07;
            minimum = 0x10000;
        } else {
            return fail("the JSON document is not valid UTF-8");
        }
        if (m_text.size() - m_pos < length) {
            return fail("the JSON document is not valid UTF-8");
        }
        for (std::size_t i = 1; i < length; ++i) {
            const unsigned char continuation = byte(m_pos + i);
            if ((continuation & 0xC0) != 0x80) {
                return fail("the JSON document is not valid UTF-8");
            }
            codePoint = (codePoint << 6) | (continuation & 0x3F);
        }
        if (codePoint < minimum || codePoint > 0x10FFFF ||
            (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
            return fail("the JSON document is not valid UTF-8");
        }
        if (out) {
            out->append(m_text.substr(m_pos, length));
        }
        m_pos += length;
        return true;
    }

    // Reads a string starting at its opening quote; decodes it into `out` when given.
    bool string(std::string* out) {
        ++m_pos; // "
        while (true) {
            if (atEnd()) {
                return fail("the JSON document ends inside a string");
            }
            const auto c = static_cast<unsigned char>(peek());
            if (c == '"') {
                ++m_pos;
                return true;
            }
            if (c < 0x20) {
                return fail("a control character inside a string");
            }
            if (c >= 0x80) {
                if (!utf8Sequence(out)) {
                    return false;
                }
                continue;
            }
            ++m_pos;
            if (c != '\\') {
                if (out) {
                    *out += static_cast<char>(c);
                }
                continue;
            }
            if (atEnd()) {
                return fail("the JSON document ends inside a string");
            }
            const char escape = m_text[m_pos++];
            char plain = 0;
            switch (escape) {
            case '"':
            case '\\':
            case '/':
                plain = escape;
                break;
            case 'b':
                plain = '\b';
                break;
            case 'f':
                plain = '\f';
                break;
            case 'n':
                plain = '\n';
                break;
            case 'r':
                plain = '\r';
                break;
            case 't':
                plain = '\t';
                break;
            case 'u': {
                const auto unit = hex4();
                if (!unit) {
                    return fail("a bad \\u escape");
                }
                std::uint32_t codePoint = *unit;
                if (codePoint >= 0xD800 && codePoint <= 0xDBFF &&
                    m_text.substr(m_pos, 2) == "\\u") {
                    const std::size_t save = m_pos;
                    m_pos += 2;
                    const auto low = hex4();
                    if (low && *low >= 0xDC00 && *low <= 0xDFFF) {
                        codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (*low - 0xDC00);
                    } else {
                        m_pos = save;
                    }
                }
                if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
                    codePoint = 0xFFFD; // a lone surrogate has no UTF-8 form
                }
                if (out) {
                    appendUtf8(*out, codePoint);
                }
                continue;
            }
            default:
                return fail("an unknown escape in a string");
            }
            if (out) {
                *out += plain;
            }
        }
    }

    std::string_view m_text;
    std::vector<std::string_view> m_path;
    std::size_t m_pos = 0;
    std::string m_error;
    std::optional<std::string_view> m_target;
};

} // namespace

ExtractResult extract(std::string_view document, std::string_view keyPath, Format format) {
    if (document.size() > maximumInputSize) {
        return {std::nullopt, "the input is too large"};
    }
    Reader reader(document, splitKeyPath(keyPath));
    if (!reader.read()) {
        return {std::nullopt, "the input is not JSON: " + reader.error()};
    }
    const auto target = reader.target();
    if (!target || *target == "null") {
        return {std::nullopt, "no value at key path " + std::string(keyPath)};
    }
    if (format == Format::json) {
        return {std::string(*target), {}};
    }
    switch (target->front()) {
    case '{':
    case '[':
        return {std::nullopt, "the value at " + std::string(keyPath) + " is not a scalar"};
    case '"':
        return {Reader::decodeString(*target), {}};
    default:
        return {std::string(*target), {}};
    }
}

} // namespace lumora::jsontool
