// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PhotoRecords.h"

#include "drivers/photos/Database.h"
#include "drivers/photos/LibraryFiles.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::photos {

/// The tables of a library: what they hold, and how they change. Each function that changes something belongs into a
/// transaction. Throws DatabaseError. From one thread at a time.
class LibraryRecords {
public:
    /// An asset's row, as far as files go.
    struct FileRow {
        std::int64_t row = 0;
        std::string identifier;
        std::string names; ///< joined
        std::int64_t inode = 0, size = 0, modified = 0; ///< of the file that is shown
    };
    struct Facts { ///< about an asset
        double creationDate = 0, modificationDate = 0;
        std::optional<CLLocationCoordinate2D> place;
        std::int64_t width = 0, height = 0;
        double duration = 0;
        bool dateIsChosen = false, placeIsChosen = false; ///< in the library, whatever the file says
    };

    LibraryRecords(Database& database, std::string root)
        : database_(database)
        , root_(std::move(root))
    {
    }
    static bool hasTables(Database& database);
    static void makeTables(Database& database);

    std::vector<AssetRecord> assets(const AssetQuery& query);
    std::vector<CollectionRecord> collections(const CollectionQuery& query);
    std::uint64_t newestChange();
    std::optional<std::vector<LibraryChange>> changesSince(std::uint64_t number);

    std::map<AssetPlace, FileRow> fileRows();
    std::optional<FileRow> fileRowAt(const AssetPlace& place);
    std::optional<AssetPlace> placeOfAsset(const std::string& identifier, std::string* names);

    void addAsset(const std::string& identifier, const AssetPlace& place, const FileGroup& group, const Facts& facts);
    /// To move to another one, or to make room for others that move.
    void leavePlace(const FileRow& row);
    void moveAsset(const FileRow& row, const AssetPlace& place, const FileGroup& group);
    void refreshAsset(const FileRow& row, const FileGroup& group, const Facts& facts);
    void removeAsset(const FileRow& row);

    /// These throw NSError for what is not there.
    void apply(const EditAsset& step);
    void apply(const AddCollection& step);
    void apply(const RenameCollection& step);
    void apply(const RemoveCollection& step);
    void apply(const AddMember& step);
    void apply(const RemoveMember& step);

    /// Writes down what was told since the transaction began, as one change. Answers whether there was anything.
    bool writeChange();
    void forgetChange() { events_.clear(); }

private:
    struct Collection {
        std::int64_t row = 0;
        bool isFolder = false;
        std::int64_t parent = 0;
        std::string title;
    };

    void tell(LibraryEvent::Kind kind, const std::string& object, const std::string& container = {})
    {
        events_.push_back({ kind, object, container });
    }
    AssetRecord recordIn(const Run& run) const;
    std::optional<Collection> collection(const std::string& identifier);
    Collection requiredCollection(const std::string& identifier);
    std::string identifierOfCollection(std::int64_t row);
    std::optional<std::pair<std::int64_t, double>> assetRowAndDate(const std::string& identifier);
    void moveInto(const AddMember& step, const Collection& folder);
    std::int64_t parentOf(std::int64_t row);

    Database& database_;
    std::string root_;
    std::vector<LibraryEvent> events_;
};

}
