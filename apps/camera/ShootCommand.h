// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "apps/camera/Options.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Report.h"

namespace velmora::camera {

class Interruption;
class OpenCamera;
class PhotoAlbum;
struct TakenPhoto;

/// Takes photos and stores them. On the main thread, whose run loop it turns.
class ShootCommand {
public:
    ShootCommand(const Options& options, Report& report, const Interruption& interruption);
    ~ShootCommand();

    /// Throws Refusal; what was stored before stays.
    void run();

private:
    void choosePhotoSettings();
    void store(const TakenPhoto& shot);

    const Options& options_;
    Report& report_;
    const Interruption& interruption_;
    PictureFolder folder_;
    std::unique_ptr<OpenCamera> camera_;
    std::unique_ptr<PhotoAlbum> album_; // empty: plain files
};

}
