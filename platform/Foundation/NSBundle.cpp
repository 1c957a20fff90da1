// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSBundle.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLocale.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/PropertyListFile.h"
#include "platform/Foundation/StringTable.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <utility>

namespace velmora {

namespace {

namespace fs = std::filesystem;

constexpr const char* defaultTable = "Localizable";

bool isFolder(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

bool isFile(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

fs::path executable()
{
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored);
}

/// share/velmora beside the folder of the library that holds this function: a package may be moved as a whole.
fs::path besideLibrary()
{
    Dl_info library {};
    if (!dladdr(reinterpret_cast<const void*>(&besideLibrary), &library) || !library.dli_fname)
        return {};
    std::error_code ignored;
    for (fs::path folder = fs::absolute(library.dli_fname, ignored).parent_path(); folder.has_relative_path();
         folder = folder.parent_path())
        if (isFolder(folder / "share/velmora"))
            return folder / "share/velmora";
    return {};
}

std::shared_ptr<NSBundle> findFramework()
{
    const char* wanted = std::getenv("VELMORA_RESOURCES");
    for (const fs::path& folder : { fs::path(wanted ? wanted : ""), fs::path(VELMORA_SOURCE_RESOURCES), besideLibrary(),
             fs::path(VELMORA_INSTALLED_RESOURCES) })
        if (!folder.empty() && isFolder(folder))
            return make<NSBundle>(std::string(frameworkBundleIdentifier), folder.string());
    return nullptr;
}

std::shared_ptr<NSBundle> findMain()
{
    const fs::path program = executable();
    const fs::path folder = program.parent_path();
    const fs::path shared = folder.parent_path() / "share" / program.filename();
    const fs::path resources = isFolder(shared) ? shared : folder;
    std::string identifier = program.filename().string();
    if (isFile(resources / "Info.plist"))
        if (const auto named
            = valueIn<std::string>(NSBundle(identifier, resources.string()).infoDictionary(), "CFBundleIdentifier"))
            identifier = *named;
    return make<NSBundle>(identifier, resources.string());
}

}

/// The bundles of the process.
struct NSBundle::Registry {
    std::mutex mutex;
    std::shared_ptr<NSBundle> main;
    std::map<std::string, std::shared_ptr<NSBundle>, std::less<>> byIdentifier;
    std::set<std::string, std::less<>> hidden;
    bool soughtFramework = false;
};

NSBundle::Registry& NSBundle::registry()
{
    static auto* held = [] {
        ProcessState::add(&NSBundle::forgetSimulation);
        return new Registry;
    }();
    return *held;
}

std::shared_ptr<NSBundle> NSBundle::mainBundle()
{
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    if (!all.main)
        all.main = findMain();
    return all.main;
}

void NSBundle::setMainBundle(std::shared_ptr<NSBundle> bundle)
{
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    all.main = std::move(bundle);
}

std::shared_ptr<NSBundle> NSBundle::bundleWithIdentifier(std::string_view identifier)
{
    const auto main = mainBundle();
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    if (all.hidden.contains(identifier))
        return nullptr;
    if (identifier == frameworkBundleIdentifier && !std::exchange(all.soughtFramework, true))
        if (auto framework = findFramework())
            all.byIdentifier.emplace(identifier, std::move(framework));
    if (const auto found = all.byIdentifier.find(identifier); found != all.byIdentifier.end())
        return found->second;
    return identifier == main->bundleIdentifier() ? main : nullptr;
}

void NSBundle::registerBundle(std::shared_ptr<NSBundle> bundle)
{
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    const std::string identifier = bundle->bundleIdentifier();
    all.byIdentifier.insert_or_assign(identifier, std::move(bundle));
}

void NSBundle::hideBundle(std::string identifier)
{
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    all.hidden.insert(std::move(identifier));
}

void NSBundle::forgetSimulation()
{
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    all.hidden.clear();
    const auto forget = [](NSBundle& bundle) {
        const std::lock_guard inner(bundle.mutex_);
        bundle.overrides_ = {};
        bundle.tables_.clear();
    };
    if (all.main)
        forget(*all.main);
    for (const auto& [identifier, bundle] : all.byIdentifier)
        forget(*bundle);
}

NSBundle::NSBundle(std::string identifier, std::string folder)
    : identifier_(std::move(identifier))
    , folder_(std::move(folder))
    , information_(readInformation())
{
}

const ClassInfo& NSBundle::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSBundle::bundleIdentifier>("bundleIdentifier"),
        method<&NSBundle::bundlePath>("bundlePath"), method<&NSBundle::_infoDictionary>("infoDictionary"),
        method<&NSBundle::_objectForInfoDictionaryKey>("objectForInfoDictionaryKey:"),
        method<&NSBundle::pathForResource>("pathForResource:ofType:"),
        method<&NSBundle::_localizedStringForKey>("localizedStringForKey:value:table:"));
    static constexpr auto classMethods = methodTable(classMethod<&NSBundle::mainBundle>("mainBundle"),
        classMethod<&NSBundle::bundleWithIdentifier>("bundleWithIdentifier:"));
    static const ClassInfo info { "Velmora.NSBundle", &NSObject::staticClass(), methods, classMethods };
    return info;
}

ArchiveDictionary NSBundle::readInformation() const
{
    const std::string file = folder_ + "/Info.plist";
    try {
        return propertyListValues(contentOfFile(file));
    } catch (const NSError& error) {
        if (error.domain() != NSPOSIXErrorDomain || error.code() != ENOENT)
            NSLog("NSBundle: %@ is not read. %@", file, error.localizedDescription());
        return {};
    }
}

ArchiveDictionary NSBundle::infoDictionary() const
{
    const std::lock_guard lock(mutex_);
    return overrides_.information.value_or(information_);
}

std::optional<ArchiveValue> NSBundle::objectForInfoDictionaryKey(const std::string& key) const
{
    const ArchiveDictionary all = infoDictionary();
    const auto found = all.find(key);
    return found == all.end() ? std::nullopt : std::optional(found->second);
}

/// Where resources are looked for, in order.
std::vector<std::string> NSBundle::folders() const
{
    std::vector<std::string> found;
    for (const std::string& language : NSLocale::currentLocale()->languages())
        found.push_back(folder_ + "/" + language + ".lproj/");
    found.push_back(folder_ + "/");
    return found;
}

std::optional<std::string> NSBundle::pathForResource(const std::string& name, const std::string& type) const
{
    const std::string file = type.empty() ? name : name + "." + type;
    for (const std::string& folder : folders())
        if (isFile(folder + file))
            return folder + file;
    return std::nullopt;
}

std::string NSBundle::localizedStringForKey(
    const std::string& key, const std::string& value, const std::optional<std::string>& table) const
{
    const std::string& otherwise = value.empty() ? key : value;
    const std::string name = table.value_or("").empty() ? defaultTable : *table;
    const std::lock_guard lock(mutex_);
    if (overrides_.strings && name == defaultTable) {
        const auto found = overrides_.strings->find(key);
        return found == overrides_.strings->end() ? otherwise : found->second;
    }

    for (const std::string& folder : folders())
        if (const auto texts = strings(folder + name + ".strings"))
            if (const auto found = texts->find(key); found != texts->end())
                return found->second;
    return otherwise;
}

/// The texts of a file, read once; null when there is no such file.
std::shared_ptr<const NSBundle::Strings> NSBundle::strings(const std::string& file) const
{
    const auto [place, isNew] = tables_.try_emplace(file);
    if (!isNew)
        return place->second;
    try {
        StringTable table = StringTable::parse(contentOfFile(file));
        if (table.damage)
            NSLog("NSBundle: %@, line %li: %@. The entries before it count.", file, table.damage->line,
                table.damage->why);
        place->second = std::make_shared<const Strings>(std::move(table.texts));
    } catch (const NSError& error) {
        if (error.code() != ENOENT && error.code() != ENOTDIR)
            NSLog("NSBundle: %@", error.localizedDescription());
    }
    return place->second;
}

void NSBundle::overrideStrings(Strings strings)
{
    const std::lock_guard lock(mutex_);
    overrides_.strings = std::move(strings);
}

void NSBundle::overrideInformation(ArchiveDictionary information)
{
    const std::lock_guard lock(mutex_);
    overrides_.information = std::move(information);
}

std::string NSBundle::_localizedStringForKey(
    const std::string& key, const std::optional<std::string>& value, const std::optional<std::string>& table) const
{
    return localizedStringForKey(key, value.value_or(""), table);
}

Value NSBundle::_objectForInfoDictionaryKey(const std::string& key) const
{
    return boxed(objectForInfoDictionaryKey(key).value_or(ArchiveValue()));
}

std::shared_ptr<NSObject> NSBundle::_infoDictionary() const
{
    return make<NSDictionary>(infoDictionary());
}

}
