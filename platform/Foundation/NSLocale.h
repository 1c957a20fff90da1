// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// The language in which a person reads.
class VELMORA_EXPORT NSLocale : public NSObject {
public:
    /// What the environment asks for: LANGUAGE (a list, with colons), then the first of LC_ALL, LC_MESSAGES and LANG
    /// that is set; "C" asks for English. Read once, and again after a reset of the process's state.
    static std::shared_ptr<NSLocale> currentLocale();

    /// Languages as the environment or a standard writes them: "de_AT.UTF-8", "zh-Hans".
    explicit NSLocale(const std::vector<std::string>& wanted);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Each wanted language from the particular to the general, and English at the end: de-AT, de, en.
    const std::vector<std::string>& languages() const { return languages_; }
    /// The first language without its region: "de".
    std::string languageCode() const;

private:
    std::vector<std::string> languages_;
};

/// The text in capitals: ß becomes SS, ligatures fall apart, and Turkish and Azerbaijani keep the dot of the i.
VELMORA_EXPORT std::string uppercaseStringWithLocale(std::string_view text, const NSLocale& locale);

}
