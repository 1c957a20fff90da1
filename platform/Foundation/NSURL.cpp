// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSURL.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace velmora {

namespace {

std::string absolute(std::string path)
{
    if (!path.empty() && path.front() == '/')
        return path;
    std::error_code refused;
    const std::filesystem::path here = std::filesystem::current_path(refused);
    return refused ? path : (here / path).string();
}

bool standsInURL(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || (c != '\0' && std::string_view("/-._~!$&'()*+,=:@").find(static_cast<char>(c)) != std::string_view::npos);
}

}

std::shared_ptr<NSURL> NSURL::fileURLWithPath(std::string path)
{
    return make<NSURL>(std::move(path));
}

NSURL::NSURL(std::string path)
    : path_(absolute(std::move(path)))
{
}

const ClassInfo& NSURL::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSURL::path>("path"),
        method<&NSURL::lastPathComponent>("lastPathComponent"), method<&NSURL::absoluteString>("absoluteString"));
    static constexpr auto classMethods = methodTable(classMethod<&NSURL::fileURLWithPath>("fileURLWithPath:"));
    static const ClassInfo info { "Velmora.NSURL", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::string NSURL::lastPathComponent() const
{
    const std::size_t end = path_.find_last_not_of('/');
    if (end == std::string::npos)
        return path_.empty() ? "" : "/";
    const std::size_t slash = path_.rfind('/', end);
    const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
    return path_.substr(begin, end - begin + 1);
}

std::string NSURL::absoluteString() const
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text = "file://";
    for (const char each : path_) {
        const auto c = static_cast<unsigned char>(each);
        if (standsInURL(c))
            text += each;
        else
            text += { '%', digits[c >> 4], digits[c & 15] };
    }
    return text;
}

bool NSURL::isEqual(const NSObject* other) const
{
    const auto* url = dynamic_cast<const NSURL*>(other);
    return url && url->path_ == path_;
}

std::string NSTemporaryDirectory()
{
    const char* wanted = std::getenv("TMPDIR");
    std::error_code refused;
    if (wanted && *wanted) {
        std::string folder = absolute(wanted);
        std::filesystem::create_directories(folder, refused);
        if (std::filesystem::is_directory(folder, refused)) {
            if (folder.back() != '/')
                folder += '/';
            return folder;
        }
    }
    std::filesystem::create_directories("/tmp", refused);
    return "/tmp/";
}

}
