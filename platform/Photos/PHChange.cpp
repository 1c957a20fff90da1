// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHChange.h"

#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHCollection.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PhotoFetch.h"
#include "platform/Photos/PhotoStore.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

namespace velmora {

namespace {

using Objects = PhotoFetch::Objects;
using Indexes = PHFetchResultChangeDetails::Indexes;

std::unordered_map<std::string_view, std::size_t> indexed(const Objects& objects)
{
    std::unordered_map<std::string_view, std::size_t> places;
    places.reserve(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i)
        places.emplace(objects[i]->localIdentifier(), i);
    return places;
}

bool isAboutAssets(LibraryEvent::Kind kind)
{
    return kind == LibraryEvent::AssetAdded || kind == LibraryEvent::AssetChanged || kind == LibraryEvent::AssetRemoved;
}

}

/// Follows the steps of a change for one result.
struct ChangeOfResult {
    const PHChange& change;
    const PHFetchResult& before;
    const PhotoFetch& fetch = *before.fetch();
    std::unordered_map<std::string_view, std::size_t> places = indexed(before.objects_);
    std::set<std::string> removed {}, inserted {}, changed {};

    bool isIn(const std::string& identifier) const
    {
        return inserted.contains(identifier) || (places.contains(identifier) && !removed.contains(identifier));
    }
    void insert(const std::string& identifier)
    {
        if (isIn(identifier))
            return;
        removed.erase(identifier);
        inserted.insert(identifier);
    }
    void remove(const std::string& identifier)
    {
        inserted.erase(identifier);
        if (places.contains(identifier))
            removed.insert(identifier);
    }
    void touch(const std::string& identifier)
    {
        if (isIn(identifier))
            changed.insert(identifier);
    }

    void follow(const LibraryEvent& event, const AssetQuery& query)
    {
        switch (event.kind) {
        case LibraryEvent::AssetAdded:
            if (!query.album)
                insert(event.object);
            break;
        case LibraryEvent::AssetChanged:
            touch(event.object);
            break;
        case LibraryEvent::AssetRemoved:
            remove(event.object);
            break;
        case LibraryEvent::MemberAdded:
            if (query.album == event.container)
                insert(event.object);
            break;
        case LibraryEvent::MemberRemoved:
            if (query.album == event.container)
                remove(event.object);
            break;
        case LibraryEvent::CollectionRemoved:
            if (query.album == event.object)
                for (const auto& object : before.objects_)
                    remove(object->localIdentifier());
            break;
        default:
            break;
        }
    }

    void follow(const LibraryEvent& event, const CollectionQuery& query)
    {
        switch (event.kind) {
        case LibraryEvent::CollectionAdded:
            if (!query.folder)
                insert(event.object);
            break;
        case LibraryEvent::CollectionChanged:
            touch(event.object);
            break;
        case LibraryEvent::CollectionRemoved:
            remove(event.object);
            break;
        case LibraryEvent::MemberAdded:
            touch(event.container);
            if (query.folder == event.container)
                insert(event.object);
            break;
        case LibraryEvent::MemberRemoved:
            touch(event.container);
            if (query.folder == event.container)
                remove(event.object);
            break;
        default:
            break;
        }
    }

    std::shared_ptr<PHObject> recorded(const std::string& identifier) const
    {
        const auto found = change.objects_.find(identifier);
        return found == change.objects_.end() ? nullptr : found->second;
    }

    bool isAskedFor(const PHObject& object) const
    {
        if (const auto* assets = std::get_if<AssetQuery>(&fetch.query)) {
            const auto* asset = dynamic_cast<const PHAsset*>(&object);
            return asset && matches(asset->record(), *assets) && fetch.passesPredicate(object);
        }
        const auto* collection = dynamic_cast<const PHCollection*>(&object);
        auto query = std::get<CollectionQuery>(fetch.query);
        query.folder.reset(); // the steps have said where it is
        return collection && matches(collection->record(), query) && fetch.passesPredicate(object);
    }

    /// The objects that stay, with those that came, in the fetch's order.
    Objects merged()
    {
        Objects stay, come;
        for (const auto& object : before.objects_) {
            const auto& identifier = object->localIdentifier();
            if (removed.contains(identifier))
                continue;
            const auto now = changed.contains(identifier) ? recorded(identifier) : nullptr;
            if (!now)
                stay.push_back(object);
            else if (isAskedFor(*now))
                come.push_back(now); // it may stand elsewhere now
        }
        for (const auto& identifier : inserted)
            if (const auto object = recorded(identifier); object && isAskedFor(*object))
                come.push_back(object);

        const auto isBefore = [this](const auto& a, const auto& b) { return fetch.isBefore(*a, *b); };
        std::sort(come.begin(), come.end(), isBefore);
        Objects all;
        all.reserve(stay.size() + come.size());
        std::merge(stay.begin(), stay.end(), come.begin(), come.end(), std::back_inserter(all), isBefore);
        if (fetch.limit != 0 && all.size() > fetch.limit)
            all.resize(fetch.limit);
        return all;
    }

    std::shared_ptr<PHFetchResultChangeDetails> details(
        const std::shared_ptr<PHFetchResult>& beforeChanges, Objects objects, bool incremental) const
    {
        PHFetchResultChangeDetails::Contents contents;
        contents.before = beforeChanges;
        contents.incremental = incremental;
        const auto after = indexed(objects);
        for (std::size_t i = 0; i < before.count(); ++i)
            if (!after.contains(before.objects_[i]->localIdentifier()))
                contents.removed.push_back(i);
        for (std::size_t i = 0; i < objects.size(); ++i) {
            const auto& identifier = objects[i]->localIdentifier();
            if (!places.contains(identifier))
                contents.inserted.push_back(i);
            else if (changed.contains(identifier))
                contents.changed.push_back(i);
        }
        if (contents.removed.empty() && contents.inserted.empty() && contents.changed.empty())
            return nullptr;
        contents.after = std::make_shared<PHFetchResult>(before.fetch(), std::move(objects));
        return std::make_shared<PHFetchResultChangeDetails>(std::move(contents));
    }
};

PHChange::PHChange(Key, LibraryChange change, bool known)
    : change_(std::move(change))
    , known_(known)
{
}

const ClassInfo& PHChange::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&PHChange::changeDetailsForFetchResult>("changeDetailsForFetchResult:"));
    static const ClassInfo info { "Velmora.PHChange", &NSObject::staticClass(), methods };
    return info;
}

void PHChange::readRecords(const PhotoStore& store)
{
    std::set<std::string> assets, collections;
    for (const auto& event : change_.events) {
        if (isAboutAssets(event.kind))
            assets.insert(event.object);
        else if (event.kind == LibraryEvent::MemberAdded) {
            assets.insert(event.object); // one of the two
            collections.insert({ event.object, event.container });
        } else
            collections.insert(event.object);
        if (event.kind == LibraryEvent::MemberRemoved)
            collections.insert(event.container);
    }
    AssetQuery assetQuery;
    assetQuery.identifiers.emplace(assets.begin(), assets.end());
    if (!assets.empty())
        for (auto& record : store.assets(assetQuery))
            objects_[record.localIdentifier] = objectFor(record);
    CollectionQuery collectionQuery;
    collectionQuery.identifiers.emplace(collections.begin(), collections.end());
    if (!collections.empty())
        for (auto& record : store.collections(collectionQuery))
            objects_[record.localIdentifier] = objectFor(record);
}

std::vector<std::shared_ptr<PHChange>> PHChange::since(const PhotoStore& store, std::uint64_t number)
{
    std::vector<std::shared_ptr<PHChange>> changes;
    // Read first: what happens meanwhile is told by the next round.
    const auto newest = store.newestChange();
    if (auto known = store.changesSince(number)) {
        for (auto& change : *known) {
            changes.push_back(std::make_shared<PHChange>(Key {}, std::move(change), true));
            changes.back()->readRecords(store);
        }
    } else
        changes.push_back(std::make_shared<PHChange>(Key {}, LibraryChange { newest, {} }, false));
    return changes;
}

std::shared_ptr<PHFetchResultChangeDetails> PHChange::changeDetailsForFetchResult(
    const std::shared_ptr<PHFetchResult>& result) const
{
    if (!result)
        return nullptr;
    ChangeOfResult following { .change = *this, .before = *result };
    if (!known_)
        return following.details(result, result->fetch()->objects(), false);
    for (const auto& event : change_.events)
        std::visit([&](const auto& query) { following.follow(event, query); }, result->fetch()->query);
    return following.details(result, following.merged(), true);
}

}
