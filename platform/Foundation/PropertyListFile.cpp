// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/PropertyListFile.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/UnicodeText.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace velmora {

namespace {

constexpr std::int64_t notReadable = 3840, notWritable = 3851; // NSPropertyListReadCorruptError, ...WriteInvalidError
constexpr int deepest = 200;

struct Free {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, Free>;

[[noreturn]] void refuse(const std::string& key, const std::string& why)
{
    throw NSError(NSCocoaErrorDomain, notWritable, "\"" + key + "\" has no place in a property list: " + why + ".");
}

bool isPlain(const std::string& text)
{
    return isUTF8(text) && std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\t';
    });
}

Node node(const std::string& key, const ArchiveValue& value);

Node dictionaryNode(const ArchiveDictionary& values)
{
    Node made(plist_new_dict());
    for (const auto& [key, value] : values) {
        if (!isPlain(key))
            refuse(key, "the key is not UTF-8 or holds control characters");
        plist_dict_set_item(made.get(), key.c_str(), node(key, value).release());
    }
    return made;
}

Node textNode(const std::string& key, const std::string& text)
{
    if (!isPlain(text))
        refuse(key, "the text is not UTF-8 or holds control characters");
    return Node(plist_new_string(text.c_str()));
}

Node dateNode(const std::string& key, const NSDate& date)
{
    const double seconds = std::floor(date.timeIntervalSinceReferenceDate());
    if (!(std::abs(seconds) < 2147483647.0))
        refuse(key, "the date is beyond the years 1933 to 2069");
    return Node(plist_new_date(static_cast<std::int32_t>(seconds), 0));
}

Node node(const std::string& key, const ArchiveValue& value)
{
    if (const auto* flag = std::get_if<bool>(&value))
        return Node(plist_new_bool(*flag));
    if (const auto* whole = std::get_if<std::int64_t>(&value))
        return Node(plist_new_uint(static_cast<std::uint64_t>(*whole)));
    if (const auto* number = std::get_if<double>(&value))
        return Node(plist_new_real(*number));
    if (const auto* text = std::get_if<std::string>(&value))
        return textNode(key, *text);
    if (const auto data = objectIn<NSData>(value))
        return Node(plist_new_data(reinterpret_cast<const char*>(data->bytes().data()), data->length()));
    if (const auto date = objectIn<NSDate>(value))
        return dateNode(key, *date);
    if (const auto dictionary = objectIn<NSDictionary>(value))
        return dictionaryNode(dictionary->values());
    const auto array = objectIn<NSArray>(value);
    if (!array)
        refuse(key, "it is nil or an object of another class");
    Node made(plist_new_array());
    for (const ArchiveValue& each : array->values())
        plist_array_append_item(made.get(), node(key, each).release());
    return made;
}

ArchiveValue valueOf(plist_t node);

ArchiveDictionary dictionaryOf(plist_t node)
{
    ArchiveDictionary values;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> held(iterator, &std::free);
    while (true) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        const std::unique_ptr<char, decltype(&std::free)> heldKey(key, &std::free);
        if (!value)
            return values;
        values.insert_or_assign(key ? key : "", valueOf(value));
    }
}

ArchiveValue arrayOf(plist_t node)
{
    std::vector<ArchiveValue> values;
    for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i)
        values.push_back(valueOf(plist_array_get_item(node, i)));
    return make<NSArray>(std::move(values));
}

ArchiveValue dateOf(plist_t node)
{
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    return make<NSDate>(seconds + microseconds / 1e6);
}

ArchiveValue numberOf(plist_t node)
{
    if (plist_get_node_type(node) == PLIST_REAL) {
        double number = 0;
        plist_get_real_val(node, &number);
        return number;
    }
    std::uint64_t whole = 0;
    plist_get_uint_val(node, &whole);
    return static_cast<std::int64_t>(whole);
}

ArchiveValue valueOf(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return flag != 0;
    }
    case PLIST_UINT:
    case PLIST_REAL:
        return numberOf(node);
    case PLIST_STRING:
        return std::string(plist_get_string_ptr(node, nullptr));
    case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        return make<NSData>(std::vector<std::uint8_t>(bytes, bytes + length));
    }
    case PLIST_DATE:
        return dateOf(node);
    case PLIST_ARRAY:
        return arrayOf(node);
    case PLIST_DICT:
        return make<NSDictionary>(dictionaryOf(node));
    default:
        throw NSError(NSCocoaErrorDomain, notReadable, "The property list holds a value of an unknown kind.");
    }
}

/// libplist follows levels by recursion when it frees a list: an endless row of "<array>" would end the process.
bool isTooDeep(const std::string& text)
{
    int depth = 0;
    for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at + 1)) {
        const auto startsWith
            = [&](const char* tag) { return text.compare(at, std::char_traits<char>::length(tag), tag) == 0; };
        if (startsWith("<array") || startsWith("<dict"))
            depth += text[text.find('>', at) - 1] == '/' ? 0 : 1;
        else if (startsWith("</array") || startsWith("</dict"))
            --depth;
        if (depth > deepest)
            return true;
    }
    return false;
}

}

std::string propertyListText(const ArchiveDictionary& values)
{
    const Node root = dictionaryNode(values);
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &text, &length);
    const std::unique_ptr<char, decltype(&plist_to_xml_free)> held(text, &plist_to_xml_free);
    return { text, length };
}

ArchiveDictionary propertyListValues(const std::string& text)
{
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    // libplist takes a list whose last tag is missing for a whole one.
    const bool isWhole = end != std::string::npos && std::string_view(text).substr(0, end + 1).ends_with("</plist>");
    if (!isWhole || text.find('\0') != std::string::npos || isTooDeep(text))
        throw NSError(NSCocoaErrorDomain, notReadable, "It is no property list in XML, or not a whole one.");

    plist_t read = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &read);
    const Node root(read);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        throw NSError(NSCocoaErrorDomain, notReadable, "It is no property list in XML that holds a dictionary.");
    return dictionaryOf(root.get());
}

std::string contentOfFile(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        throw errorFromErrno(errno, path);
    std::string content;
    std::array<char, 16384> buffer {};
    ssize_t count = 0;
    while ((count = read(file, buffer.data(), buffer.size())) > 0)
        content.append(buffer.data(), static_cast<std::size_t>(count));
    const int number = errno;
    close(file);
    if (count < 0)
        throw errorFromErrno(number, path);
    return content;
}

}
