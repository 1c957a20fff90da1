// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhonePhotos.h"

#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/ImageIO/ImageDecoder.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/RandomIdentifier.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmora::drivers::phone {

namespace {

[[noreturn]] void throwNotThere(const std::string& what, const std::string& identifier)
{
    throw NSError(PHPhotosErrorDomain, PHPhotosErrorIdentifierNotFound,
        "The photo library was not changed, because the " + what + " " + identifier
            + " is not in it any more; fetch again.");
}

template <class Records> auto found(Records& records, const std::string& identifier)
{
    return std::find_if(
        records.begin(), records.end(), [&](const auto& record) { return record.localIdentifier == identifier; });
}

template <class Records> auto& required(Records& records, const std::string& identifier, const char* what)
{
    const auto record = found(records, identifier);
    if (record == records.end())
        throwNotThere(what, identifier);
    return *record;
}

/// One colour for each photo, so that a test can tell them apart.
std::shared_ptr<const CGImage> drawnPhoto(std::int64_t order)
{
    constexpr int width = 64, height = 48;
    const auto level = [order](int factor) { return static_cast<std::uint8_t>((order * factor) % 256); };
    std::vector<std::uint8_t> pixels;
    pixels.reserve(std::size_t { 4 } * width * height);
    for (int i = 0; i < width * height; ++i)
        pixels.insert(pixels.end(), { level(37), level(71), level(113), 255 });
    return CGImage::withPixels(width, height, std::move(pixels));
}

}

/// Does the steps of one change on a copy of the library.
class PhonePhotos::Applying {
public:
    Applying(Content& content, double now)
        : content_(content)
        , now_(now)
    {
    }

    void operator()(const AddAsset& step)
    {
        if (step.files.empty())
            throw NSError(PHPhotosErrorDomain, PHPhotosErrorMissingResource,
                "The photo was not added, because no file was given for it; add one to its request.");
        AssetRecord asset;
        asset.localIdentifier = step.localIdentifier;
        asset.creationDate = step.creationDate.value_or(now_);
        asset.modificationDate = now_;
        asset.place = step.place;
        asset.order = ++content_.order;
        for (const auto& file : step.files)
            asset.files.push_back("/" + file.name);
        if (const auto& picture = step.files.front().data)
            content_.pictures.emplace(step.localIdentifier, picture);
        content_.assets.push_back(std::move(asset));
        tell(LibraryEvent::AssetAdded, step.localIdentifier);
    }
    void operator()(const EditAsset& step)
    {
        auto& asset = required(content_.assets, step.localIdentifier, "photo");
        if (step.creationDate)
            asset.creationDate = *step.creationDate;
        if (step.place)
            asset.place = *step.place;
        asset.modificationDate = now_;
        tell(LibraryEvent::AssetChanged, step.localIdentifier);
    }
    void operator()(const RemoveAsset& step)
    {
        required(content_.assets, step.localIdentifier, "photo");
        for (const auto& collection : content_.collections)
            leave(collection.localIdentifier, step.localIdentifier);
        content_.assets.erase(found(content_.assets, step.localIdentifier));
        content_.pictures.erase(step.localIdentifier);
        tell(LibraryEvent::AssetRemoved, step.localIdentifier);
    }
    void operator()(const AddCollection& step)
    {
        content_.collections.push_back({ step.localIdentifier, step.title, step.isFolder, {}, ++content_.order });
        tell(LibraryEvent::CollectionAdded, step.localIdentifier);
    }
    void operator()(const RenameCollection& step)
    {
        required(content_.collections, step.localIdentifier, "collection").title = step.title;
        tell(LibraryEvent::CollectionChanged, step.localIdentifier);
    }
    void operator()(const RemoveCollection& step)
    {
        required(content_.collections, step.localIdentifier, "collection");
        for (auto& each : content_.collections)
            if (each.parent == step.localIdentifier)
                each.parent.clear();
        content_.members.erase(step.localIdentifier);
        content_.collections.erase(found(content_.collections, step.localIdentifier));
        tell(LibraryEvent::CollectionRemoved, step.localIdentifier);
    }
    void operator()(const AddMember& step)
    {
        if (required(content_.collections, step.collection, "collection").isFolder) {
            moveInto(step.collection, required(content_.collections, step.member, "collection"));
            return;
        }
        required(content_.assets, step.member, "photo");
        auto& members = content_.members[step.collection];
        if (std::find(members.begin(), members.end(), step.member) != members.end())
            return;
        members.push_back(step.member);
        tell(LibraryEvent::MemberAdded, step.member, step.collection);
    }
    void operator()(const RemoveMember& step)
    {
        if (!required(content_.collections, step.collection, "collection").isFolder) {
            leave(step.collection, step.member);
            return;
        }
        auto& member = required(content_.collections, step.member, "collection");
        if (member.parent != step.collection)
            return;
        member.parent.clear();
        tell(LibraryEvent::MemberRemoved, step.member, step.collection);
    }

private:
    void tell(LibraryEvent::Kind kind, const std::string& object, const std::string& container = {})
    {
        content_.events.push_back({ kind, object, container });
    }
    void leave(const std::string& album, const std::string& asset)
    {
        if (std::erase(content_.members[album], asset) != 0)
            tell(LibraryEvent::MemberRemoved, asset, album);
    }
    void moveInto(const std::string& folder, CollectionRecord& member)
    {
        for (std::string outer = folder; !outer.empty();
             outer = required(content_.collections, outer, "collection").parent)
            if (outer == member.localIdentifier)
                throw NSError(PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
                    "The folder \"" + member.title + "\" cannot lie in itself; choose another one.");
        if (member.parent == folder)
            return;
        if (!member.parent.empty())
            tell(LibraryEvent::MemberRemoved, member.localIdentifier, member.parent);
        member.parent = folder;
        tell(LibraryEvent::MemberAdded, member.localIdentifier, folder);
    }

    Content& content_;
    double now_;
};

PhonePhotos::PhonePhotos(std::shared_ptr<PhoneState> state, std::shared_ptr<PhotoStore> before)
    : state_(std::move(state))
    , before_(std::move(before))
{
    if (!before_)
        fill(state_->description()->library);
}

void PhonePhotos::fill(const LibraryContent& content)
{
    std::vector<PhotoStep> steps;
    std::map<std::string, std::string> folders;
    for (const auto& title : content.folders) {
        const auto& folder = folders.emplace(title, randomIdentifier()).first->second;
        steps.emplace_back(AddCollection { folder, title, true });
    }
    for (const auto& title : content.albums) {
        const auto album = randomIdentifier();
        steps.emplace_back(AddCollection { album, title, false });
        const auto inFolder = content.albumInFolder.find(title);
        if (inFolder == content.albumInFolder.end())
            continue;
        if (const auto folder = folders.find(inFolder->second); folder != folders.end())
            steps.emplace_back(AddMember { folder->second, album });
    }
    apply(steps);
}

int PhonePhotos::authorizationStatus() const
{
    return state_->description()->permissions.photos;
}

void PhonePhotos::requestAuthorization(std::function<void(int)> answer)
{
    state_->note("requestAuthorization", "photos");
    const int status = authorizationStatus();
    if (status == PHAuthorizationStatusNotDetermined) {
        const std::lock_guard lock(mutex_);
        questions_.push_back(std::move(answer));
        return;
    }
    queue_.async([answer = std::move(answer), status] { answer(status); });
}

void PhonePhotos::permissionChanged(int status)
{
    if (status == PHAuthorizationStatusNotDetermined)
        return;
    std::vector<std::function<void(int)>> questions;
    {
        const std::lock_guard lock(mutex_);
        questions.swap(questions_);
    }
    for (auto& answer : questions)
        queue_.async([answer = std::move(answer), status] { answer(status); });
}

std::vector<AssetRecord> PhonePhotos::assets(const AssetQuery& query) const
{
    if (before_)
        return before_->assets(query);
    const std::lock_guard lock(mutex_);
    std::vector<AssetRecord> all;
    for (const auto& asset : content_.assets) {
        if (!matches(asset, query))
            continue;
        if (query.album) {
            const auto members = content_.members.find(*query.album);
            if (members == content_.members.end()
                || std::find(members->second.begin(), members->second.end(), asset.localIdentifier)
                    == members->second.end())
                continue;
        }
        all.push_back(asset);
    }
    std::sort(all.begin(), all.end(), [&](const auto& a, const auto& b) { return isBefore(a, b, query.sort); });
    if (query.limit != 0 && all.size() > query.limit)
        all.resize(query.limit);
    return all;
}

std::vector<CollectionRecord> PhonePhotos::collections(const CollectionQuery& query) const
{
    if (query.identifiers && hasCommittedAndNobodyLooked()
        && state_->strike(Step::FetchAfterChange, { Outcome::Nothing }, {}))
        return {};
    if (before_)
        return before_->collections(query);
    const std::lock_guard lock(mutex_);
    std::vector<CollectionRecord> all;
    std::copy_if(content_.collections.begin(), content_.collections.end(), std::back_inserter(all),
        [&](const auto& collection) { return matches(collection, query); });
    return all;
}

bool PhonePhotos::hasCommittedAndNobodyLooked() const
{
    const std::lock_guard lock(mutex_);
    return std::exchange(hasCommitted_, false);
}

std::optional<std::string> PhonePhotos::newIdentifier()
{
    if (state_->strike(Step::Placeholder, { Outcome::Nothing }, {}))
        return std::nullopt;
    return before_ ? before_->newIdentifier() : randomIdentifier();
}

bool PhonePhotos::mayChange(const std::string& collection) const
{
    if (state_->strike(Step::FolderChangeRequest, { Outcome::Nothing }, {}))
        return false;
    if (before_)
        return before_->mayChange(collection);
    const std::lock_guard lock(mutex_);
    return found(content_.collections, collection) != content_.collections.end();
}

void PhonePhotos::commit(const std::vector<PhotoStep>& steps)
{
    state_->note("commit", "photos");
    if (const auto fault = state_->strike(Step::LibraryChange, { Outcome::Error }, {}))
        throw errorOf(*fault);
    if (before_)
        before_->commit(steps);
    else
        apply(steps);
    const std::lock_guard lock(mutex_);
    hasCommitted_ = true;
}

void PhonePhotos::apply(const std::vector<PhotoStep>& steps)
{
    if (before_)
        throw NSException(NSInvalidArgumentException,
            "[VirtualPhone] This phone is on a running clock, where the photos are the user's own; leave the clock out "
            "of its construction to change them by hand.");
    std::map<int, std::function<void()>> observers;
    {
        const std::lock_guard lock(mutex_);
        Content changed = content_;
        Applying applying(changed, state_->clock().absoluteTime());
        for (const auto& step : steps)
            std::visit(applying, step);
        auto events = std::exchange(changed.events, {});
        content_ = std::move(changed);
        if (events.empty())
            return;
        changes_.push_back({ changes_.size() + 1, std::move(events) });
        observers = observers_;
    }
    for (const auto& [id, changed] : observers)
        changed();
}

std::uint64_t PhonePhotos::newestChange() const
{
    if (before_)
        return before_->newestChange();
    const std::lock_guard lock(mutex_);
    return changes_.size();
}

std::optional<std::vector<LibraryChange>> PhonePhotos::changesSince(std::uint64_t number) const
{
    if (before_)
        return before_->changesSince(number);
    const std::lock_guard lock(mutex_);
    const auto first = std::min<std::size_t>(number, changes_.size());
    return std::vector(changes_.begin() + static_cast<std::ptrdiff_t>(first), changes_.end());
}

Cancellable PhonePhotos::observe(std::function<void()> changed)
{
    if (before_)
        return before_->observe(std::move(changed));
    const std::lock_guard lock(mutex_);
    const int id = ++lastObserver_;
    observers_.emplace(id, std::move(changed));
    return Cancellable([weak = weak_from_this(), id] {
        const auto self = weak.lock();
        if (!self)
            return;
        const std::lock_guard still(self->mutex_);
        self->observers_.erase(id);
    });
}

std::optional<std::vector<PhotoStore::Picture>> PhonePhotos::pictures(const AssetRecord& asset)
{
    std::optional<std::vector<ImageAnswer>> prepared;
    {
        const std::lock_guard lock(mutex_);
        if (!answers_.empty()) {
            prepared = std::move(answers_.front());
            answers_.pop_front();
        }
    }
    if (!prepared && before_)
        return before_->pictures(asset);
    if (!prepared)
        prepared = std::vector<ImageAnswer> { { .degraded = true, .delay = 0.05 }, { .degraded = false } };
    std::vector<Picture> pictures;
    for (const auto& answer : *prepared)
        pictures.push_back({ answer.image ? pictureOf(asset) : nullptr, answer.degraded, answer.delay });
    return pictures;
}

/// What the asset came with; one that came with nothing to see has a colour.
std::shared_ptr<const CGImage> PhonePhotos::pictureOf(const AssetRecord& asset) const
{
    std::shared_ptr<NSData> data;
    {
        const std::lock_guard lock(mutex_);
        if (const auto picture = content_.pictures.find(asset.localIdentifier); picture != content_.pictures.end())
            data = picture->second;
    }
    if (const auto decoder = ImageDecoder::installed(); decoder && data)
        try {
            return CGImage::withPixelBuffer(decoder->decode(data->bytes()));
        } catch (const NSError&) {
            // No picture: a test stores any bytes.
        }
    return drawnPhoto(asset.order);
}

void PhonePhotos::answerNextImage(std::vector<ImageAnswer> answers)
{
    const std::lock_guard lock(mutex_);
    answers_.push_back(std::move(answers));
}

std::string PhonePhotos::albumNamed(const std::string& title) const
{
    CollectionQuery albums;
    albums.areFolders = false;
    for (const auto& album : collections(albums))
        if (album.title == title)
            return album.localIdentifier;
    throw NSException(NSInvalidArgumentException, "[VirtualPhone] The library has no album \"" + title + "\".");
}

void PhonePhotos::addPhotos(const std::string& album, std::size_t count)
{
    const auto identifier = album.empty() ? std::string() : albumNamed(album);
    const double now = state_->clock().absoluteTime();
    std::vector<PhotoStep> steps;
    for (std::size_t i = 0; i < count; ++i) {
        AddAsset photo;
        photo.localIdentifier = randomIdentifier();
        photo.files = { { "IMG.jpg", nullptr, {}, false } };
        photo.creationDate = now - static_cast<double>(count - 1 - i);
        steps.emplace_back(photo);
        if (!identifier.empty())
            steps.emplace_back(AddMember { identifier, photo.localIdentifier });
    }
    apply(steps);
}

void PhonePhotos::deleteNewestPhotos(std::size_t count)
{
    AssetQuery newest;
    newest.sort = { { AssetSort::CreationDate, false } };
    newest.limit = count;
    std::vector<PhotoStep> steps;
    if (count > 0)
        for (const auto& asset : assets(newest))
            steps.emplace_back(RemoveAsset { asset.localIdentifier });
    apply(steps);
}

void PhonePhotos::deleteAlbum(const std::string& title)
{
    apply({ RemoveCollection { albumNamed(title) } });
}

void PhonePhotos::renameAlbum(const std::string& from, const std::string& to)
{
    apply({ RenameCollection { albumNamed(from), to } });
}

}
