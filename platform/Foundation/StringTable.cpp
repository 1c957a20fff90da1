// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/StringTable.h"

#include "platform/Foundation/UnicodeText.h"

#include <utility>

namespace velmora {

namespace {

/// The bytes as UTF-8, without a byte order mark.
std::string decoded(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return std::string(bytes.substr(3));
    const bool isBig = bytes.starts_with("\xFE\xFF");
    if (!isBig && !bytes.starts_with("\xFF\xFE"))
        return std::string(bytes);

    std::u16string units;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        units += static_cast<char16_t>(isBig ? first << 8 | second : second << 8 | first);
    }
    return utf8(units);
}

bool standsInBareWord(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.'
        || c == '-' || c == '$' || c == ':';
}

class Parser {
public:
    explicit Parser(std::string_view text)
        : text_(text)
    {
    }

    StringTable parse()
    {
        StringTable table;
        try {
            while (skipToEntry()) {
                std::string key = word("a key");
                std::string text = key;
                skipSpace();
                if (accept('=')) {
                    skipSpace();
                    text = word("a text");
                    skipSpace();
                }
                if (!accept(';'))
                    refuse("the entry \"" + key + "\" does not end in \";\"");
                table.texts.insert_or_assign(std::move(key), std::move(text));
            }
        } catch (StringTable::Damage& damage) {
            table.damage = std::move(damage);
        }
        return table;
    }

private:
    bool skipToEntry()
    {
        skipSpace();
        return at_ < text_.size();
    }

    void skipSpace()
    {
        while (at_ < text_.size()) {
            const std::string_view rest = text_.substr(at_);
            if (rest.starts_with("//"))
                skipPast("\n", at_ + 2, true);
            else if (rest.starts_with("/*"))
                skipPast("*/", at_ + 2, false);
            else if (std::string_view(" \t\r\n").find(rest.front()) != std::string_view::npos)
                advance(1);
            else
                return;
        }
    }
    void skipPast(std::string_view end, std::size_t from, bool mayBeMissing)
    {
        const std::size_t found = text_.find(end, from);
        if (found == std::string_view::npos && !mayBeMissing)
            refuse("the comment that begins here does not end");
        advance(found == std::string_view::npos ? text_.size() - at_ : found + end.size() - at_);
    }
    void advance(std::size_t count)
    {
        for (const std::size_t end = at_ + count; at_ < end; ++at_)
            line_ += text_[at_] == '\n';
    }
    bool accept(char c)
    {
        if (at_ >= text_.size() || text_[at_] != c)
            return false;
        ++at_;
        return true;
    }

    std::string word(const std::string& what)
    {
        if (accept('"'))
            return quoted(what);
        const std::size_t begin = at_;
        while (at_ < text_.size() && standsInBareWord(text_[at_]))
            ++at_;
        if (at_ == begin)
            refuse(what + " is expected");
        return std::string(text_.substr(begin, at_ - begin));
    }

    std::string quoted(const std::string& what)
    {
        const std::int64_t begin = line_;
        std::string text;
        while (at_ < text_.size()) {
            if (accept('"'))
                return text;
            if (accept('\\')) {
                appendEscaped(text);
                continue;
            }
            line_ += text_[at_] == '\n';
            bool isIllFormed = false;
            const char32_t c = nextCharacter(text_, at_, &isIllFormed);
            if (isIllFormed)
                refuse("a character is not UTF-8");
            appendCharacter(text, c);
        }
        throw StringTable::Damage { begin, what + " that begins here does not end" };
    }

    void appendEscaped(std::string& text)
    {
        static constexpr std::string_view letters = "ntrabfv";
        static constexpr std::string_view meanings = "\n\t\r\a\b\f\v";
        if (at_ >= text_.size())
            return; // the text does not end: said there
        const char c = text_[at_];
        if (c == 'u' || c == 'U') {
            ++at_;
            appendCharacter(text, escapedCharacter());
        } else if (const std::size_t known = letters.find(c); known != std::string_view::npos) {
            ++at_;
            text += meanings[known];
        } else {
            line_ += c == '\n';
            appendCharacter(text, nextCharacter(text_, at_));
        }
    }

    /// A character outside the basic plane stands as two surrogates, each with its own escape.
    char32_t escapedCharacter()
    {
        const char32_t first = hexadecimal();
        if (first < 0xD800 || first >= 0xE000)
            return first;
        if (first < 0xDC00 && (text_.substr(at_).starts_with("\\U") || text_.substr(at_).starts_with("\\u"))) {
            at_ += 2;
            const char32_t second = hexadecimal();
            if (second >= 0xDC00 && second < 0xE000)
                return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
        }
        refuse("half of a surrogate pair is missing");
    }
    char32_t hexadecimal()
    {
        char32_t value = 0;
        for (int i = 0; i < 4; ++i, ++at_) {
            static constexpr std::string_view digits = "0123456789abcdefABCDEF";
            const std::size_t digit = at_ < text_.size() ? digits.find(text_[at_]) : std::string_view::npos;
            if (digit == std::string_view::npos)
                refuse("\\U and \\u need four hexadecimal digits");
            value = value << 4 | static_cast<char32_t>(digit < 16 ? digit : digit - 6);
        }
        return value;
    }

    [[noreturn]] void refuse(std::string why) const { throw StringTable::Damage { line_, std::move(why) }; }

    std::string_view text_;
    std::size_t at_ = 0;
    std::int64_t line_ = 1;
};

}

StringTable StringTable::parse(std::string_view bytes)
{
    const std::string text = decoded(bytes);
    return Parser(text).parse();
}

}
