// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/BinaryPropertyList.h"
#include "platform/Foundation/KeyedArchiveLayout.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSKeyedArchiver.h"
#include "platform/Foundation/NSURL.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace velmora {

namespace {

using keyedArchive::Path;
using Kind = BinaryPropertyList::Kind;
using Reference = BinaryPropertyList::Reference;
using Entries = BinaryPropertyList::Entries;
using InitWithCoder = std::shared_ptr<NSObject> (*)(const NSCoder&);

/// The classes that archives may hold, by their names there.
struct KnownClasses {
    std::shared_mutex mutex;
    std::map<std::string, InitWithCoder, std::less<>> byName;

    InitWithCoder find(std::string_view name)
    {
        const std::shared_lock lock(mutex);
        const auto found = byName.find(name);
        return found == byName.end() ? nullptr : found->second;
    }
};
KnownClasses& knownClasses()
{
    static auto* classes = new KnownClasses;
    return *classes;
}

const Reference* fieldIn(const Entries& fields, std::string_view key)
{
    const auto found
        = std::find_if(fields.begin(), fields.end(), [key](const auto& entry) { return entry.first == key; });
    return found == fields.end() ? nullptr : &found->second;
}

/// The path of a "file:" address; nothing for another address or a broken escape.
std::optional<std::string> pathInURL(std::string_view url)
{
    static constexpr std::string_view scheme = "file://";
    if (!url.starts_with(scheme))
        return std::nullopt;
    url.remove_prefix(scheme.size());
    if (url.starts_with("localhost/"))
        url.remove_prefix(std::string_view("localhost").size());

    const auto digit = [](char c) { return std::string_view("0123456789ABCDEFabcdef").find(c); };
    std::string path;
    for (std::size_t i = 0; i < url.size(); ++i) {
        if (url[i] != '%') {
            path += url[i];
            continue;
        }
        if (i + 2 >= url.size() || digit(url[i + 1]) == std::string_view::npos
            || digit(url[i + 2]) == std::string_view::npos)
            return std::nullopt;
        const auto value = [&](char c) { return digit(c) > 15 ? digit(c) - 6 : digit(c); };
        path += static_cast<char>(value(url[i + 1]) << 4 | value(url[i + 2]));
        i += 2;
    }
    return path.starts_with('/') ? std::optional(path) : std::nullopt;
}

/// One archive while it is read; each of its objects is made once, when something asks for it.
class Unarchive {
public:
    explicit Unarchive(std::span<const std::uint8_t> bytes)
        : list_(bytes)
    {
        const Entries archive = list_.dictionary(list_.root());
        const auto required = [&](std::string_view key, Kind kind) {
            const Reference* found = fieldIn(archive, key);
            if (!found || list_.kind(*found) != kind)
                refuse("it has no \"" + std::string(key) + "\" of the right kind");
            return *found;
        };
        if (list_.text(required("$archiver", Kind::Text)) != keyedArchive::archiver)
            refuse("another archiver wrote it");
        if (list_.integer(required("$version", Kind::Integer)) != keyedArchive::version)
            refuse("its version is not 100000");
        top_ = list_.dictionary(required("$top", Kind::Dictionary));
        objects_ = list_.array(required("$objects", Kind::Array));
        if (objects_.empty() || list_.kind(objects_[0]) != Kind::Text || list_.text(objects_[0]) != keyedArchive::null)
            refuse("its first object is not \"$null\"");
        list_.spend(objects_.size() * sizeof(Object));
        made_.resize(objects_.size());
    }

    ArchiveValue root()
    {
        const Reference* root = fieldIn(top_, "root");
        if (!root)
            refuse("it has no root");
        return value(*root);
    }

    ArchiveValue field(const Entries& fields, std::string_view key)
    {
        const Reference* found = fieldIn(fields, keyedArchive::fieldKey(key));
        if (!found)
            return {};
        const Path::Step step(path_, std::string(key));
        return value(*found);
    }

private:
    enum class State : std::uint8_t { Untouched, InHand, Made };
    struct Object {
        State state = State::Untouched;
        ArchiveValue value;
    };

    /// What stands in a field or a collection: most often the UID of an object, for small values the value itself.
    ArchiveValue value(Reference reference)
    {
        return list_.kind(reference) == Kind::UID ? object(list_.uid(reference)) : plainValue(reference);
    }

    ArchiveValue object(std::uint64_t uid)
    {
        if (uid == 0)
            return {};
        if (uid >= made_.size())
            refuse("UID " + std::to_string(uid) + " is beyond its " + std::to_string(made_.size()) + " objects");
        if (path_.depth() > keyedArchive::deepest)
            refuse("it has more than 200 levels of objects within objects");
        Object& entry = made_[uid];
        if (entry.state == State::InHand)
            refuse("object " + std::to_string(uid) + " holds itself");
        if (entry.state == State::Untouched) {
            entry.state = State::InHand;
            entry.value
                = list_.kind(objects_[uid]) == Kind::Dictionary ? record(objects_[uid]) : plainValue(objects_[uid]);
            entry.state = State::Made;
        } else if (const auto* text = std::get_if<std::string>(&entry.value))
            list_.spend(text->size()); // texts are the only values that each holder copies
        return entry.value;
    }

    ArchiveValue plainValue(Reference reference)
    {
        switch (list_.kind(reference)) {
        case Kind::Null:
            return {};
        case Kind::Boolean:
            return list_.boolean(reference);
        case Kind::Integer:
            return list_.integer(reference);
        case Kind::Real:
            return list_.real(reference);
        case Kind::Text:
            return list_.text(reference);
        case Kind::Date:
            return make<NSDate>(list_.real(reference));
        case Kind::Data: {
            const auto bytes = list_.data(reference);
            return make<NSData>(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
        }
        case Kind::UID:
        case Kind::Array:
        case Kind::Dictionary:
            break;
        }
        refuse("a bare list stands where an object should");
    }

    ArchiveValue record(Reference reference);
    ArchiveValue foundationValue(std::string_view name, const Entries& fields, bool& isKnown);
    ArchiveValue array(const Entries& fields);
    ArchiveValue dictionary(const Entries& fields);
    ArchiveValue url(const Entries& fields);
    const std::string& className(const Entries& fields);

    std::vector<Reference> elements(const Entries& fields, std::string_view key)
    {
        const Reference* found = fieldIn(fields, key);
        if (!found || list_.kind(*found) != Kind::Array)
            refuse("a collection has no array \"" + std::string(key) + "\"");
        return list_.array(*found);
    }
    template <class T> T required(const Entries& fields, std::string_view key)
    {
        const ArchiveValue found = field(fields, key);
        const T* exact = std::get_if<T>(&found);
        if (!exact)
            refuse("\"" + std::string(key) + "\" is missing or of the wrong type");
        return *exact;
    }

    [[noreturn]] void refuse(const std::string& why) const
    {
        throw NSError(NSCocoaErrorDomain, NSCoderReadCorruptError,
            "The archive cannot be read at \"" + path_.text() + "\": " + why + ".");
    }

    BinaryPropertyList list_;
    Entries top_;
    std::vector<Reference> objects_;
    std::vector<Object> made_;
    std::map<std::uint64_t, std::string> classNames_;
    Path path_;
};

/// Hands one object its fields.
class RecordReader final : public NSCoder {
public:
    RecordReader(Unarchive& archive, const Entries& fields)
        : archive_(archive)
        , fields_(fields)
    {
    }
    void encodeObject(ArchiveValue, std::string_view) override
    {
        throw NSException(
            NSInvalidArgumentException, "NSKeyedUnarchiver reads an archive; nothing can be encoded into it");
    }
    ArchiveValue decodeObjectForKey(std::string_view key) const override { return archive_.field(fields_, key); }

private:
    Unarchive& archive_;
    const Entries& fields_;
};

ArchiveValue Unarchive::record(Reference reference)
{
    const Entries fields = list_.dictionary(reference);
    const std::string& name = className(fields);
    bool isKnown = true;
    ArchiveValue value = foundationValue(name, fields, isKnown);
    if (isKnown)
        return value;

    const InitWithCoder initWithCoder = knownClasses().find(name);
    if (!initWithCoder)
        refuse("the class " + name + " is not known here. Register it with NSKeyedUnarchiver::registerClasses");
    const RecordReader coder(*this, fields);
    if (auto made = initWithCoder(coder))
        return made;
    return {};
}

const std::string& Unarchive::className(const Entries& fields)
{
    const Reference* found = fieldIn(fields, "$class");
    if (!found || list_.kind(*found) != Kind::UID)
        refuse("an object has no class");
    const std::uint64_t uid = list_.uid(*found);
    if (const auto known = classNames_.find(uid); known != classNames_.end())
        return known->second;
    if (uid >= objects_.size() || list_.kind(objects_[uid]) != Kind::Dictionary)
        refuse("an object's class is no class");
    const Entries description = list_.dictionary(objects_[uid]);
    const Reference* name = fieldIn(description, "$classname");
    if (!name || list_.kind(*name) != Kind::Text)
        refuse("a class has no name");
    return classNames_.emplace(uid, list_.text(*name)).first->second;
}

ArchiveValue Unarchive::foundationValue(std::string_view name, const Entries& fields, bool& isKnown)
{
    if (name == "NSDictionary" || name == "NSMutableDictionary")
        return dictionary(fields);
    if (name == "NSArray" || name == "NSMutableArray")
        return array(fields);
    if (name == "NSDate") {
        const ArchiveValue seconds = field(fields, "NS.time");
        if (const auto* whole = std::get_if<std::int64_t>(&seconds))
            return make<NSDate>(static_cast<double>(*whole));
        return make<NSDate>(required<double>(fields, "NS.time"));
    }
    if (name == "NSData" || name == "NSMutableData")
        return required<std::shared_ptr<NSData>>(fields, "NS.data");
    if (name == "NSString" || name == "NSMutableString")
        return required<std::string>(fields, "NS.string");
    if (name == "NSURL")
        return url(fields);
    isKnown = name == "NSNull";
    return {};
}

ArchiveValue Unarchive::array(const Entries& fields)
{
    const std::vector<Reference> references = elements(fields, "NS.objects");
    std::vector<ArchiveValue> values;
    values.reserve(references.size());
    for (std::size_t i = 0; i < references.size(); ++i) {
        const Path::Step step(path_, "[" + std::to_string(i) + "]");
        values.push_back(value(references[i]));
    }
    return make<NSArray>(std::move(values));
}

ArchiveValue Unarchive::dictionary(const Entries& fields)
{
    const std::vector<Reference> keys = elements(fields, "NS.keys");
    const std::vector<Reference> references = elements(fields, "NS.objects");
    if (keys.size() != references.size())
        refuse("a dictionary has " + std::to_string(keys.size()) + " keys and " + std::to_string(references.size())
            + " values");
    ArchiveDictionary values;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const ArchiveValue key = value(keys[i]);
        const auto* text = std::get_if<std::string>(&key);
        if (!text)
            refuse("a dictionary has a key that is no text");
        const Path::Step step(path_, *text);
        values.insert_or_assign(*text, value(references[i]));
    }
    return make<NSDictionary>(std::move(values));
}

ArchiveValue Unarchive::url(const Entries& fields)
{
    const auto text = required<std::string>(fields, "NS.relative");
    const auto path = pathInURL(text);
    if (!path || !std::holds_alternative<std::monostate>(field(fields, "NS.base")))
        refuse("the address \"" + text + "\" is not that of a file");
    return std::shared_ptr<NSObject>(NSURL::fileURLWithPath(*path));
}

}

ArchiveValue NSKeyedUnarchiver::unarchiveTopLevelObject(std::span<const std::uint8_t> archive)
{
    return Unarchive(archive).root();
}

void NSKeyedUnarchiver::registerClasses(std::span<const ArchivableClass> classes)
{
    KnownClasses& known = knownClasses();
    const std::unique_lock lock(known.mutex);
    for (const ArchivableClass& each : classes)
        known.byName.insert_or_assign(std::string(keyedArchive::className(*each.info)), each.initWithCoder);
}

}
