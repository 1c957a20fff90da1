// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PictureFolder.h"

#include "drivers/photos/PicturesFolder.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <ctime>
#include <system_error>

#include "apps/camera/PartFile.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace fs = std::filesystem;

namespace {

Refusal cannotWrite(const fs::path& path, const std::error_code& reason)
{
    if (reason == std::errc::no_space_on_device || reason == std::errc::file_too_large || reason.value() == EDQUOT)
        return { path.string() + " cannot be written", "there is no space left for it (" + reason.message() + ")",
            "free some, or choose another folder with --out DIR" };
    return { path.string() + " cannot be written", reason.message(), "choose another folder with --out DIR" };
}

std::string nameForDate(const char* format, double secondsSince1970)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970));
    std::tm local {};
    localtime_r(&seconds, &local);
    std::array<char, 32> text {};
    std::strftime(text.data(), text.size(), format, &local);
    return text.data();
}

/// One part for each file of the photo, all under the same name; nothing when one of the names is taken.
std::vector<PartFile> createParts(const fs::path& stem, const std::vector<PhotoFile>& files)
{
    std::vector<PartFile> parts;
    for (const auto& file : files) {
        auto part = PartFile::create(stem.string() + file.ending);
        if (!part)
            return {};
        parts.push_back(std::move(*part));
    }
    return parts;
}

/// All or none.
std::vector<fs::path> publish(std::vector<PartFile>& parts)
{
    std::vector<fs::path> published;
    try {
        for (auto& part : parts) {
            part.publish();
            published.push_back(part.path());
        }
    } catch (...) {
        for (const auto& path : published)
            unlink(path.c_str());
        throw;
    }
    return published;
}

}

std::string photoNameForDate(double secondsSince1970)
{
    return nameForDate("IMG_%Y%m%d_%H%M%S", secondsSince1970);
}

std::string movieNameForDate(double secondsSince1970)
{
    return nameForDate("VID_%Y%m%d_%H%M%S", secondsSince1970);
}

fs::path PictureFolder::ofUser()
{
    const auto folder = drivers::photos::cameraFolderOfUser();
    if (folder.empty())
        throw Refusal("The pictures folder cannot be found", "HOME is not set", "choose a folder with --library DIR");
    return folder;
}

fs::path PictureFolder::chosen(const std::optional<fs::path>& out, const std::optional<fs::path>& library)
{
    return out ? *out : library ? *library : ofUser();
}

PictureFolder::PictureFolder(const fs::path& folder)
{
    std::error_code error;
    folder_ = fs::absolute(folder, error).lexically_normal();
    fs::create_directories(folder_, error);
    if (error)
        throw cannotWrite(folder_, error);
    if (!fs::is_directory(folder_))
        throw cannotWrite(folder_, std::make_error_code(std::errc::not_a_directory));
    if (access(folder_.c_str(), W_OK | X_OK) != 0)
        throw cannotWrite(folder_, { errno, std::generic_category() });
}

std::vector<fs::path> PictureFolder::store(const std::string& name, const std::vector<PhotoFile>& files) const
{
    try {
        auto parts = createParts(folder_ / name, files);
        for (int number = 2; parts.empty(); ++number)
            parts = createParts(folder_ / (name + "_" + std::to_string(number)), files);
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (files[i].file)
                parts[i].writeContentsOf(*files[i].file);
            else
                parts[i].write(files[i].bytes);
        }
        return publish(parts);
    } catch (const fs::filesystem_error& error) {
        throw cannotWrite(error.path1(), error.code());
    }
}

}
