// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

class NSData;

enum PHAssetMediaType : std::int64_t {
    PHAssetMediaTypeUnknown = 0,
    PHAssetMediaTypeImage = 1,
    PHAssetMediaTypeVideo = 2,
    PHAssetMediaTypeAudio = 3,
};

/// One photo or movie, as a store knows it. Dates are seconds since 2001-01-01 00:00 UTC.
struct AssetRecord {
    std::string localIdentifier;
    PHAssetMediaType mediaType = PHAssetMediaTypeImage;
    double creationDate = 0, modificationDate = 0;
    std::optional<CLLocationCoordinate2D> place;
    std::int64_t pixelWidth = 0, pixelHeight = 0; ///< as it is shown; 0: not known
    double duration = 0; ///< seconds, of a movie
    std::vector<std::string> files; ///< absolute; what is shown first, then what belongs to it (RAW, live movie)
    std::int64_t order = 0; ///< grows with each asset that is added
};

/// One album or folder.
struct CollectionRecord {
    std::string localIdentifier, title;
    bool isFolder = false;
    std::string parent; ///< identifier of the folder that holds it; empty: none
    std::int64_t order = 0; ///< grows with each collection that is made
};

/// A key that assets are sorted by. Equal ones follow the order in which they were added, in the first key's direction:
/// of two photos of one moment the later added is the newer one.
struct AssetSort {
    enum Key : std::uint8_t {
        CreationDate,
        ModificationDate,
        MediaType,
        PixelWidth,
        PixelHeight,
        Duration,
        LocalIdentifier
    } key
        = CreationDate;
    bool ascending = true;
    bool operator==(const AssetSort&) const = default;
};

/// Which assets, in which order.
struct AssetQuery {
    std::optional<std::vector<std::string>> identifiers; ///< only these
    std::optional<std::string> album; ///< only those in it
    std::optional<PHAssetMediaType> mediaType;
    std::vector<AssetSort> sort; ///< empty: in the order in which they were added
    std::size_t limit = 0; ///< after sorting; 0: all
};

/// Which collections, in the order in which they were made.
struct CollectionQuery {
    std::optional<std::vector<std::string>> identifiers;
    std::optional<std::string> folder; ///< only those in it
    std::optional<bool> areFolders;
};

/// One file of a new asset: bytes, or a file that is copied, or moves in.
struct NewAssetFile {
    std::string name; ///< as it is to be called; a number is added where the name is taken
    std::shared_ptr<NSData> data;
    std::string source; ///< absolute; where there is no data
    bool moves = false; ///< the source is gone afterwards
};

/// What a change does, step by step. Steps may name what an earlier one made.
struct AddAsset {
    std::string localIdentifier;
    std::vector<NewAssetFile> files; ///< at least one
    std::optional<double> creationDate; ///< otherwise as the file says
    std::optional<CLLocationCoordinate2D> place;
};
struct EditAsset {
    std::string localIdentifier;
    std::optional<double> creationDate;
    std::optional<std::optional<CLLocationCoordinate2D>> place; ///< nothing within: takes the place away
};
struct RemoveAsset {
    std::string localIdentifier;
};
struct AddCollection {
    std::string localIdentifier, title;
    bool isFolder = false;
};
struct RenameCollection {
    std::string localIdentifier, title;
};
struct RemoveCollection {
    std::string localIdentifier; ///< what a folder held stays, outside any
};
struct AddMember {
    std::string collection, member; ///< an asset into an album, a collection into a folder
};
struct RemoveMember {
    std::string collection, member;
};
using PhotoStep = std::variant<AddAsset, EditAsset, RemoveAsset, AddCollection, RenameCollection, RemoveCollection,
    AddMember, RemoveMember>;

/// One thing that happened to a library.
struct LibraryEvent {
    enum Kind : std::uint8_t {
        AssetAdded,
        AssetChanged,
        AssetRemoved,
        CollectionAdded,
        CollectionChanged,
        CollectionRemoved,
        MemberAdded,
        MemberRemoved
    } kind
        = AssetAdded;
    std::string object; ///< of an asset or a collection
    std::string container {}; ///< of MemberAdded, MemberRemoved: the album or folder
    bool operator==(const LibraryEvent&) const = default;
};

/// What was committed together, by whichever process.
struct LibraryChange {
    std::uint64_t number = 0; ///< grows from change to change
    std::vector<LibraryEvent> events;
};

/// Whether `a` stands before `b`.
VELMORA_EXPORT bool isBefore(const AssetRecord& a, const AssetRecord& b, std::span<const AssetSort> sort);
/// Whether the query, apart from its album, asks for this one.
VELMORA_EXPORT bool matches(const AssetRecord& asset, const AssetQuery& query);
VELMORA_EXPORT bool matches(const CollectionRecord& collection, const CollectionQuery& query);

}
