// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSLocale.h"

#include "platform/Foundation/InstalledDriver.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/UnicodeText.h"

#include <clocale>
#include <cstdlib>
#include <cwctype>
#include <map>
#include <sstream>

namespace velmora {

namespace {

constexpr const char* developmentLanguage = "en";

/// Chinese tables are told apart by script, the environment names the region.
const char* chineseScript(const std::string& language)
{
    static const std::map<std::string, const char*> scripts { { "zh", "zh-Hans" }, { "zh-CN", "zh-Hans" },
        { "zh-SG", "zh-Hans" }, { "zh-TW", "zh-Hant" }, { "zh-HK", "zh-Hant" }, { "zh-MO", "zh-Hant" } };
    const auto found = scripts.find(language);
    return found == scripts.end() ? nullptr : found->second;
}

void addOnce(std::vector<std::string>& list, const std::string& entry)
{
    for (const std::string& each : list)
        if (each == entry)
            return;
    list.push_back(entry);
}

void addLanguage(std::vector<std::string>& list, std::string wanted)
{
    wanted.resize(std::min(wanted.find_first_of(".@"), wanted.size()));
    for (char& c : wanted)
        if (c == '_')
            c = '-';
    if (wanted.empty())
        return;
    if (wanted == "C" || wanted == "POSIX") {
        addOnce(list, developmentLanguage);
        return;
    }
    addOnce(list, wanted);
    if (const char* script = chineseScript(wanted))
        addOnce(list, script);
    for (std::size_t dash = wanted.rfind('-'); dash != std::string::npos; dash = wanted.rfind('-')) {
        wanted.resize(dash);
        addOnce(list, wanted);
    }
}

std::vector<std::string> wantedByEnvironment()
{
    std::vector<std::string> wanted;
    std::string chosen;
    for (const char* variable : { "LC_ALL", "LC_MESSAGES", "LANG" })
        if (const char* value = std::getenv(variable); value && *value && chosen.empty())
            chosen = value;
    const bool isPlain = chosen == "C" || chosen == "POSIX"; // then the list does not count
    if (const char* list = std::getenv("LANGUAGE"); list && !isPlain) {
        std::istringstream languages(list);
        for (std::string each; std::getline(languages, each, ':');)
            wanted.push_back(each);
    }
    wanted.push_back(chosen);
    return wanted;
}

InstalledDriver<NSLocale>& current()
{
    static auto* held = [] {
        auto* made = new InstalledDriver<NSLocale>;
        ProcessState::add([made] { made->set(nullptr); });
        return made;
    }();
    return *held;
}

/// What one character becomes that has no capital of its own.
const char* capitals(char32_t c)
{
    static const std::map<char32_t, const char*> several { { U'\u00df', "SS" }, { U'\u0149', "\u02bcN" },
        { U'\u01f0', "J\u030c" }, { U'\u0587', "\u0535\u0552" }, { U'\ufb00', "FF" }, { U'\ufb01', "FI" },
        { U'\ufb02', "FL" }, { U'\ufb03', "FFI" }, { U'\ufb04', "FFL" }, { U'\ufb05', "ST" }, { U'\ufb06', "ST" } };
    const auto found = several.find(c);
    return found == several.end() ? nullptr : found->second;
}

}

std::shared_ptr<NSLocale> NSLocale::currentLocale()
{
    if (auto known = current().get())
        return known;
    auto made = make<NSLocale>(wantedByEnvironment());
    current().set(made);
    return made;
}

NSLocale::NSLocale(const std::vector<std::string>& wanted)
{
    for (const std::string& each : wanted)
        addLanguage(languages_, each);
    addOnce(languages_, developmentLanguage);
}

const ClassInfo& NSLocale::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSLocale::languageCode>("languageCode"));
    static constexpr auto classMethods = methodTable(classMethod<&NSLocale::currentLocale>("currentLocale"));
    static const ClassInfo info { "Velmora.NSLocale", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::string NSLocale::languageCode() const
{
    return languages_.front().substr(0, languages_.front().find('-'));
}

std::string uppercaseStringWithLocale(std::string_view text, const NSLocale& locale)
{
    // The C library's own table of Unicode, whatever locale the process is in; always there in glibc.
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const std::string language = locale.languageCode();
    const bool keepsDot = language == "tr" || language == "az";

    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const char32_t c = nextCharacter(text, at);
        if (const char* several = capitals(c))
            result += several;
        else if (c == U'i' && keepsDot)
            result += "\u0130";
        else
            appendCharacter(result,
                static_cast<char32_t>(
                    unicode ? towupper_l(static_cast<wint_t>(c), unicode) : std::towupper(static_cast<wint_t>(c))));
    }
    return result;
}

}
