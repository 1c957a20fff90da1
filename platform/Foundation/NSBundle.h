// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/NSObject.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// The framework's own bundle; the part before the last full stop begins the labels of its queues.
inline constexpr const char* frameworkBundleIdentifier = "org.velmora.Velmora";

/// Texts, pictures and other resources that belong to an application or to the framework. From any thread.
///
/// Resources lie in folders, those of one language in LANGUAGE.lproj within. Each person's languages are tried in
/// their order (see NSLocale), then English, then the folder itself.
class VELMORA_EXPORT NSBundle : public NSObject {
public:
    using Strings = std::map<std::string, std::string>;

    /// The application's. Unless setMainBundle says otherwise it has the resources beside the executable or, for an
    /// installed one, in ../share/NAME, and is called by the CFBundleIdentifier of the Info.plist there, or by the
    /// executable's name.
    static std::shared_ptr<NSBundle> mainBundle();
    static void setMainBundle(std::shared_ptr<NSBundle> bundle);

    /// The framework's bundle, the main bundle, or a registered one; empty for an unknown identifier.
    ///
    /// The framework's resources are those that VELMORA_RESOURCES names, else those of the source tree that built it,
    /// else those in share/velmora of the place where it is installed; without any of them there is no such bundle.
    static std::shared_ptr<NSBundle> bundleWithIdentifier(std::string_view identifier);
    static void registerBundle(std::shared_ptr<NSBundle> bundle);

    /// A bundle in a folder; an Info.plist in it is its information.
    NSBundle(std::string identifier, std::string folder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& bundleIdentifier() const { return identifier_; }
    const std::string& bundlePath() const { return folder_; }

    ArchiveDictionary infoDictionary() const;
    /// Nothing when the key is absent.
    std::optional<ArchiveValue> objectForInfoDictionaryKey(const std::string& key) const;

    /// The path of NAME.TYPE, of the first language that has it; nothing when there is none.
    std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const;

    /// The text under `key` in TABLE.strings ("Localizable" when no table is named), of the first language that has
    /// the key. Otherwise `value`, or the key itself when that is empty. A damaged table is logged once with the line,
    /// and its entries up to there count.
    std::string localizedStringForKey(
        const std::string& key, const std::string& value = {}, const std::optional<std::string>& table = {}) const;

    /// For simulations, until the process's state is reset: these are all texts of the default table, and all of the
    /// information.
    void overrideStrings(Strings strings);
    void overrideInformation(ArchiveDictionary information);
    /// For simulations, until the process's state is reset: the bundle with this identifier is not there.
    static void hideBundle(std::string identifier);

private:
    struct Overrides {
        std::optional<Strings> strings;
        std::optional<ArchiveDictionary> information;
    };

    std::string _localizedStringForKey(
        const std::string& key, const std::optional<std::string>& value, const std::optional<std::string>& table) const;
    Value _objectForInfoDictionaryKey(const std::string& key) const;
    std::shared_ptr<NSObject> _infoDictionary() const;

    struct Registry;
    static Registry& registry();
    static void forgetSimulation();
    std::vector<std::string> folders() const;
    std::shared_ptr<const Strings> strings(const std::string& file) const;
    ArchiveDictionary readInformation() const;

    const std::string identifier_, folder_;
    const ArchiveDictionary information_;
    mutable std::mutex mutex_; // guards what follows
    mutable std::map<std::string, std::shared_ptr<const Strings>> tables_; // by file; null where there is none
    Overrides overrides_;
};

}
