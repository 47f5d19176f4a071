#include "KZItemFilter.h"

#include "format/KZDateUtilities.h"

#include <cctype>
#include <limits>
#include <string>
#include <vector>

namespace {

// The text as Python sees a file name: UTF-8 decoded by character, a byte that is not part of
// valid UTF-8 standing for itself as a lone surrogate (its "surrogateescape"), so that "?"
// matches one character of a name and one stray byte alike.
std::u32string characters(const QByteArray &bytes)
{
    std::u32string out;
    out.reserve(size_t(bytes.size()));
    const auto byteAt = [&bytes](qsizetype i) {
        return static_cast<unsigned char>(bytes[i]);
    };
    qsizetype i = 0;
    while (i < bytes.size()) {
        const unsigned char lead = byteAt(i);
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        }
        // The sequence's length, the lead byte's bits and the least value it may encode (a
        // longer form than needed is invalid, as Python has it).
        const int length = (lead & 0xe0) == 0xc0   ? 2
                           : (lead & 0xf0) == 0xe0 ? 3
                           : (lead & 0xf8) == 0xf0 ? 4
                                                   : 0;
        char32_t value = lead & (0x7f >> length);
        const char32_t minimum = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        bool valid = length != 0 && i + length <= bytes.size();
        for (int k = 1; valid && k < length; ++k) {
            const unsigned char next = byteAt(i + k);
            valid = (next & 0xc0) == 0x80;
            value = (value << 6) | (next & 0x3f);
        }
        valid
            = valid && value >= minimum && value <= 0x10ffff && (value < 0xd800 || value > 0xdfff);
        if (valid) {
            out.push_back(value);
            i += length;
        } else {
            out.push_back(0xdc00 + lead);
            ++i;
        }
    }
    return out;
}

struct Token
{
    enum class Kind { Literal, Any, Star, Set };
    Kind kind = Kind::Literal;
    char32_t literal = 0;
    bool negated = false;
    std::u32string singles;
    std::u32string ranges; // pairs: first, last

    [[nodiscard]] bool inSet(char32_t c) const
    {
        bool found = singles.find(c) != std::u32string::npos;
        for (size_t k = 0; !found && k + 1 < ranges.size(); k += 2)
            found = ranges[k] <= c && c <= ranges[k + 1];
        return found != negated;
    }
    [[nodiscard]] bool matchesOne(char32_t c) const
    {
        switch (kind) {
        case Kind::Literal:
            return c == literal;
        case Kind::Any:
            return true;
        case Kind::Set:
            return inSet(c);
        case Kind::Star:
            break;
        }
        return false;
    }
};

std::vector<Token> compile(const std::u32string &pattern)
{
    std::vector<Token> tokens;
    const size_t n = pattern.size();
    size_t i = 0;
    while (i < n) {
        const char32_t c = pattern[i++];
        Token token;
        if (c == U'*') {
            if (!tokens.empty() && tokens.back().kind == Token::Kind::Star)
                continue;
            token.kind = Token::Kind::Star;
        } else if (c == U'?') {
            token.kind = Token::Kind::Any;
        } else if (c == U'[') {
            // "]" right after "[" or "[!" belongs to the set; an unclosed "[" is itself.
            size_t j = i;
            if (j < n && pattern[j] == U'!')
                ++j;
            if (j < n && pattern[j] == U']')
                ++j;
            while (j < n && pattern[j] != U']')
                ++j;
            if (j >= n) {
                token.literal = c;
            } else {
                token.kind = Token::Kind::Set;
                size_t p = i;
                if (pattern[p] == U'!') {
                    token.negated = true;
                    ++p;
                }
                // "a-z" is a range when a character follows the "-" inside the set; a "-"
                // first, last or right after a range is itself. A reversed range is empty.
                while (p < j) {
                    if (p + 2 < j && pattern[p + 1] == U'-') {
                        if (pattern[p] <= pattern[p + 2]) {
                            token.ranges.push_back(pattern[p]);
                            token.ranges.push_back(pattern[p + 2]);
                        }
                        p += 3;
                    } else {
                        token.singles.push_back(pattern[p++]);
                    }
                }
                i = j + 1;
            }
        } else {
            token.literal = c;
        }
        tokens.push_back(std::move(token));
    }
    return tokens;
}

// The usual matcher with one remembered star: linear for patterns with a single "*", and
// never exponential, since a later star makes the earlier one's choice final.
bool match(const std::vector<Token> &tokens, const std::u32string &subject)
{
    size_t t = 0;
    size_t s = 0;
    size_t starToken = std::u32string::npos;
    size_t starSubject = 0;
    while (s < subject.size()) {
        if (t < tokens.size() && tokens[t].kind == Token::Kind::Star) {
            starToken = t++;
            starSubject = s;
        } else if (t < tokens.size() && tokens[t].matchesOne(subject[s])) {
            ++t;
            ++s;
        } else if (starToken != std::u32string::npos) {
            t = starToken + 1;
            s = ++starSubject;
        } else {
            return false;
        }
    }
    while (t < tokens.size() && tokens[t].kind == Token::Kind::Star)
        ++t;
    return t == tokens.size();
}

} // namespace

bool KZItemFilter::matches(const std::optional<KZTrashInfo> &info, quint64 size, qint64 now) const
{
    if (olderThan) {
        if (!info || !info->deletionDate)
            return false;
        const double deleted = *info->deletionDate + double(KZDateUtilities::kSeconds1970To2001);
        if (!(deleted < double(now) - double(*olderThan)))
            return false;
    }
    if (largerThan && !(size > *largerThan))
        return false;
    if (matching) {
        if (!info || info->originalPath.isEmpty())
            return false;
        if (!matchesPattern(*matching, info->originalPath))
            return false;
    }
    return true;
}

std::optional<qint64> KZItemFilter::parseDuration(const QByteArray &text)
{
    QByteArray digits = text;
    qint64 unit = 86400;
    if (!text.isEmpty() && !std::isdigit(static_cast<unsigned char>(text.back()))) {
        switch (text.back()) {
        case 's':
            unit = 1;
            break;
        case 'm':
            unit = 60;
            break;
        case 'h':
            unit = 3600;
            break;
        case 'd':
            unit = 86400;
            break;
        case 'w':
            unit = 7 * 86400;
            break;
        default:
            return std::nullopt;
        }
        digits.chop(1);
    }
    if (digits.isEmpty())
        return std::nullopt;
    for (const char c : std::as_const(digits)) {
        if (c < '0' || c > '9')
            return std::nullopt;
    }
    bool ok = false;
    const qint64 count = digits.toLongLong(&ok);
    if (!ok || count > std::numeric_limits<qint64>::max() / unit)
        return std::nullopt;
    return count * unit;
}

std::optional<quint64> KZItemFilter::parseSize(const QByteArray &text)
{
    qsizetype end = 0;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9')
        ++end;
    if (end == 0)
        return std::nullopt;
    QByteArray suffix = text.mid(end);
    if (suffix.endsWith('B') || suffix.endsWith('b'))
        suffix.chop(1);
    const bool binary = suffix.endsWith('i');
    if (binary)
        suffix.chop(1);
    int power = 0;
    if (suffix.isEmpty() && !binary)
        power = 0;
    else if (suffix == "k" || suffix == "K")
        power = 1;
    else if (suffix == "M")
        power = 2;
    else if (suffix == "G")
        power = 3;
    else if (suffix == "T")
        power = 4;
    else
        return std::nullopt;
    bool ok = false;
    quint64 value = text.left(end).toULongLong(&ok);
    if (!ok)
        return std::nullopt;
    const quint64 step = binary ? 1024 : 1000;
    for (int k = 0; k < power; ++k) {
        if (value > std::numeric_limits<quint64>::max() / step)
            return std::nullopt;
        value *= step;
    }
    return value;
}

bool KZItemFilter::matchesPattern(const QByteArray &pattern, const QByteArray &originalPath)
{
    if (pattern.isEmpty())
        return false;
    if (pattern.startsWith('/'))
        return pattern == originalPath || globMatches(pattern, originalPath);
    // The text after the last "/", as os.path.basename takes it.
    return globMatches(pattern, originalPath.mid(originalPath.lastIndexOf('/') + 1));
}

bool KZItemFilter::globMatches(const QByteArray &pattern, const QByteArray &subject)
{
    return match(compile(characters(pattern)), characters(subject));
}
