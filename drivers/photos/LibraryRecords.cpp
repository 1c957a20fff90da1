// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/LibraryRecords.h"

#include "platform/Foundation/NSError.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace velmora::drivers::photos {

namespace {

constexpr int version = 1;

/// Members carry their asset's date, so that the newest of an album is one look into its index.
constexpr const char* tables = R"sql(
CREATE TABLE asset(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  identifier TEXT NOT NULL UNIQUE,
  folder TEXT NOT NULL,
  stem TEXT NOT NULL,
  names TEXT NOT NULL,
  inode INTEGER NOT NULL,
  size INTEGER NOT NULL,
  modified INTEGER NOT NULL,
  media INTEGER NOT NULL,
  created REAL NOT NULL,
  changed REAL NOT NULL,
  latitude REAL,
  longitude REAL,
  width INTEGER NOT NULL,
  height INTEGER NOT NULL,
  duration REAL NOT NULL,
  edited INTEGER NOT NULL DEFAULT 0,
  UNIQUE(folder, stem)
);
CREATE INDEX asset_created ON asset(created);
CREATE TABLE collection(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  identifier TEXT NOT NULL UNIQUE,
  title TEXT NOT NULL,
  folder INTEGER NOT NULL,
  parent INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX collection_parent ON collection(parent);
CREATE TABLE member(
  collection INTEGER NOT NULL,
  created REAL NOT NULL,
  asset INTEGER NOT NULL,
  PRIMARY KEY(collection, created, asset)
) WITHOUT ROWID;
CREATE INDEX member_asset ON member(asset);
CREATE TABLE change(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  number INTEGER NOT NULL,
  kind INTEGER NOT NULL,
  object TEXT NOT NULL,
  container TEXT NOT NULL
);
PRAGMA user_version = 1;
)sql";

/// Who looks less often fetches again.
constexpr std::int64_t rememberedEvents = 50000, forgottenAtOnce = 1024;

enum Edited : std::uint8_t { DateEdited = 1, PlaceEdited = 2 };

constexpr std::string_view assetColumns
    = "a.id, a.identifier, a.folder, a.names, a.media, a.created, a.changed, a.latitude, a.longitude, a.width, "
      "a.height, a.duration";

[[noreturn]] void throwNotThere(const char* what, const std::string& identifier)
{
    throw NSError(PHPhotosErrorDomain, PHPhotosErrorIdentifierNotFound,
        std::string("The photo library was not changed, because the ") + what + " " + identifier
            + " is not in it any more; fetch again.");
}

const char* columnOf(AssetSort::Key key)
{
    switch (key) {
    case AssetSort::CreationDate:
        return "a.created";
    case AssetSort::ModificationDate:
        return "a.changed";
    case AssetSort::MediaType:
        return "a.media";
    case AssetSort::PixelWidth:
        return "a.width";
    case AssetSort::PixelHeight:
        return "a.height";
    case AssetSort::Duration:
        return "a.duration";
    case AssetSort::LocalIdentifier:
        return "a.identifier";
    }
    return "a.id";
}

/// " ORDER BY ...", and the limit as a parameter.
void appendOrder(std::string& sql, const AssetQuery& query)
{
    const bool fromAlbum = query.album.has_value();
    sql += " ORDER BY ";
    for (const auto& sort : query.sort) {
        // The index of members begins with this copy.
        sql += fromAlbum && sort.key == AssetSort::CreationDate ? "m.created" : columnOf(sort.key);
        sql += sort.ascending ? ", " : " DESC, ";
    }
    sql += fromAlbum ? "m.asset" : "a.id";
    if (!query.sort.empty() && !query.sort.front().ascending)
        sql += " DESC";
    sql += " LIMIT ?";
}

std::int64_t limitOf(const AssetQuery& query)
{
    return query.limit == 0 ? -1 : static_cast<std::int64_t>(query.limit);
}

std::optional<CLLocationCoordinate2D> placeIn(const Run& run, int column)
{
    const auto latitude = run.maybeReal(column), longitude = run.maybeReal(column + 1);
    return latitude && longitude ? std::optional(CLLocationCoordinate2D { *latitude, *longitude }) : std::nullopt;
}

std::optional<double> latitudeOf(const std::optional<CLLocationCoordinate2D>& place)
{
    return place ? std::optional(place->latitude) : std::nullopt;
}
std::optional<double> longitudeOf(const std::optional<CLLocationCoordinate2D>& place)
{
    return place ? std::optional(place->longitude) : std::nullopt;
}

LibraryRecords::FileRow fileRowIn(const Run& run)
{
    return { run.whole(0), run.text(1), run.text(2), run.whole(3), run.whole(4), run.whole(5) };
}

}

bool LibraryRecords::hasTables(Database& database)
{
    auto run = database.run("PRAGMA user_version");
    run.next();
    const auto found = run.whole(0);
    if (found > version)
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
            "The photo library was made by a newer version; use that one, or another folder.");
    return found == version;
}

void LibraryRecords::makeTables(Database& database)
{
    Transaction transaction(database);
    if (!hasTables(database)) // another process may have been first
        database.execute(tables);
    transaction.commit();
}

AssetRecord LibraryRecords::recordIn(const Run& run) const
{
    AssetRecord asset;
    asset.order = run.whole(0);
    asset.localIdentifier = run.text(1);
    const auto folder = run.text(2), names = run.text(3);
    for (std::size_t at = 0; at < names.size();) {
        const auto end = std::min(names.find('/', at), names.size());
        asset.files.push_back(pathIn(root_, folder, names.substr(at, end - at)));
        at = end + 1;
    }
    asset.mediaType = static_cast<PHAssetMediaType>(run.whole(4));
    asset.creationDate = run.real(5);
    asset.modificationDate = run.real(6);
    asset.place = placeIn(run, 7);
    asset.pixelWidth = run.whole(9);
    asset.pixelHeight = run.whole(10);
    asset.duration = run.real(11);
    return asset;
}

std::vector<AssetRecord> LibraryRecords::assets(const AssetQuery& query)
{
    std::vector<AssetRecord> found;
    if (query.identifiers) {
        const auto sql = "SELECT " + std::string(assetColumns) + " FROM asset a WHERE a.identifier = ?";
        std::set<std::string> asked;
        for (const auto& identifier : *query.identifiers) {
            if (!asked.insert(identifier).second)
                continue;
            auto run = database_.run(sql);
            if (run.bind(std::string_view(identifier)).next())
                found.push_back(recordIn(run));
        }
        std::erase_if(found, [&](const auto& asset) { return !matches(asset, query); });
        std::sort(found.begin(), found.end(), [&](const auto& a, const auto& b) { return isBefore(a, b, query.sort); });
        if (query.limit != 0 && found.size() > query.limit)
            found.resize(query.limit);
        return found;
    }

    std::string sql;
    sql.reserve(512);
    sql.append("SELECT ").append(assetColumns);
    // The album comes first, then its index; the planner must not turn them round.
    sql += query.album ? " FROM collection c CROSS JOIN member m ON m.collection = c.id CROSS JOIN asset a "
                         "ON a.id = m.asset WHERE c.identifier = ? AND c.folder = 0"
                       : " FROM asset a WHERE 1";
    if (query.mediaType)
        sql += " AND a.media = ?";
    appendOrder(sql, query);
    auto run = database_.run(sql);
    if (query.album)
        run.bind(std::string_view(*query.album));
    if (query.mediaType)
        run.bind(static_cast<std::int64_t>(*query.mediaType));
    run.bind(limitOf(query));
    while ((query.limit == 0 || found.size() < query.limit) && run.next())
        found.push_back(recordIn(run));
    return found;
}

std::vector<CollectionRecord> LibraryRecords::collections(const CollectionQuery& query)
{
    constexpr std::string_view all = "SELECT c.identifier, c.title, c.folder, coalesce(p.identifier, ''), c.id "
                                     "FROM collection c LEFT JOIN collection p ON p.id = c.parent";
    const auto recordOf = [](const Run& run) {
        return CollectionRecord { run.text(0), run.text(1), run.whole(2) != 0, run.text(3), run.whole(4) };
    };
    std::vector<CollectionRecord> found;
    if (!query.identifiers) {
        auto run = database_.run(std::string(all) + " ORDER BY c.id");
        while (run.next())
            found.push_back(recordOf(run));
    } else {
        const std::set<std::string> asked(query.identifiers->begin(), query.identifiers->end());
        for (const auto& identifier : asked) {
            auto run = database_.run(std::string(all) + " WHERE c.identifier = ?");
            if (run.bind(std::string_view(identifier)).next())
                found.push_back(recordOf(run));
        }
        std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.order < b.order; });
    }
    std::erase_if(found, [&](const auto& record) { return !matches(record, query); });
    return found;
}

std::uint64_t LibraryRecords::newestChange()
{
    auto run = database_.run("SELECT number FROM change ORDER BY id DESC LIMIT 1");
    return run.next() ? static_cast<std::uint64_t>(run.whole(0)) : 0;
}

std::optional<std::vector<LibraryChange>> LibraryRecords::changesSince(std::uint64_t number)
{
    const auto newest = newestChange();
    if (number == newest)
        return std::vector<LibraryChange>();
    std::uint64_t oldest = 0;
    {
        auto run = database_.run("SELECT number FROM change ORDER BY id LIMIT 1");
        if (run.next())
            oldest = static_cast<std::uint64_t>(run.whole(0));
    }
    // The first change is number 1. A number that never was belongs to a database that was set aside.
    if (number > newest || (oldest > 1 && number < oldest))
        return std::nullopt;

    std::vector<LibraryChange> changes;
    auto run = database_.run("SELECT number, kind, object, container FROM change WHERE id > ? AND number > ? "
                             "ORDER BY id");
    run.bind(static_cast<std::int64_t>(number)).bind(static_cast<std::int64_t>(number));
    while (run.next()) {
        const auto each = static_cast<std::uint64_t>(run.whole(0));
        if (changes.empty() || changes.back().number != each)
            changes.push_back({ each, {} });
        changes.back().events.push_back({ static_cast<LibraryEvent::Kind>(run.whole(1)), run.text(2), run.text(3) });
    }
    return changes;
}

bool LibraryRecords::writeChange()
{
    if (events_.empty())
        return false;
    std::int64_t number = 0; // of the change: the row of its first event
    for (const auto& event : events_) {
        {
            auto run = database_.run("INSERT INTO change(number, kind, object, container) VALUES(?, ?, ?, ?)");
            run.bind(number)
                .bind(static_cast<std::int64_t>(event.kind))
                .bind(std::string_view(event.object))
                .bind(std::string_view(event.container))
                .finish();
        }
        const auto row = database_.lastInsertedRow();
        if (number == 0) {
            number = row;
            database_.run("UPDATE change SET number = id WHERE id = ?").bind(row).finish();
        }
        if (row % forgottenAtOnce == 0)
            database_.run("DELETE FROM change WHERE id < ?").bind(row - rememberedEvents).finish();
    }
    events_.clear();
    return true;
}

std::map<AssetPlace, LibraryRecords::FileRow> LibraryRecords::fileRows()
{
    std::map<AssetPlace, FileRow> rows;
    auto run = database_.run("SELECT id, identifier, names, inode, size, modified, folder, stem FROM asset "
                             "ORDER BY folder, stem");
    while (run.next())
        rows.emplace_hint(rows.end(), AssetPlace { run.text(6), run.text(7) }, fileRowIn(run));
    return rows;
}

std::optional<LibraryRecords::FileRow> LibraryRecords::fileRowAt(const AssetPlace& place)
{
    auto run = database_.run("SELECT id, identifier, names, inode, size, modified FROM asset "
                             "WHERE folder = ? AND stem = ?");
    run.bind(std::string_view(place.folder)).bind(std::string_view(place.stem));
    return run.next() ? std::optional(fileRowIn(run)) : std::nullopt;
}

std::optional<AssetPlace> LibraryRecords::placeOfAsset(const std::string& identifier, std::string* names)
{
    auto run = database_.run("SELECT folder, stem, names FROM asset WHERE identifier = ?");
    if (!run.bind(std::string_view(identifier)).next())
        return std::nullopt;
    *names = run.text(2);
    return AssetPlace { run.text(0), run.text(1) };
}

void LibraryRecords::addAsset(
    const std::string& identifier, const AssetPlace& place, const FileGroup& group, const Facts& facts)
{
    const auto names = joined(group);
    const auto& shown = group.front();
    auto run
        = database_.run("INSERT INTO asset(identifier, folder, stem, names, inode, size, modified, media, created, "
                        "changed, latitude, longitude, width, height, duration, edited) "
                        "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    run.bind(std::string_view(identifier))
        .bind(std::string_view(place.folder))
        .bind(std::string_view(place.stem))
        .bind(std::string_view(names))
        .bind(shown.inode)
        .bind(shown.size)
        .bind(shown.modified)
        .bind(static_cast<std::int64_t>(mediaTypeOf(shown.name)))
        .bind(facts.creationDate)
        .bind(facts.modificationDate)
        .bind(latitudeOf(facts.place))
        .bind(longitudeOf(facts.place))
        .bind(facts.width)
        .bind(facts.height)
        .bind(facts.duration)
        .bind(std::int64_t { facts.dateIsChosen ? DateEdited : 0 } | (facts.placeIsChosen ? PlaceEdited : 0))
        .finish();
    tell(LibraryEvent::AssetAdded, identifier);
}

void LibraryRecords::leavePlace(const FileRow& row)
{
    // No folder is called so: names of several assets may go round in a circle.
    database_.run("UPDATE asset SET folder = '/', stem = identifier WHERE id = ?").bind(row.row).finish();
}

void LibraryRecords::moveAsset(const FileRow& row, const AssetPlace& place, const FileGroup& group)
{
    const auto names = joined(group);
    database_.run("UPDATE asset SET folder = ?, stem = ?, names = ? WHERE id = ?")
        .bind(std::string_view(place.folder))
        .bind(std::string_view(place.stem))
        .bind(std::string_view(names))
        .bind(row.row)
        .finish();
    tell(LibraryEvent::AssetChanged, row.identifier);
}

void LibraryRecords::refreshAsset(const FileRow& row, const FileGroup& group, const Facts& facts)
{
    const auto names = joined(group);
    const auto& shown = group.front();
    // What was chosen in the library stays, whatever the file says now.
    database_
        .run("UPDATE asset SET names = ?1, inode = ?2, size = ?3, modified = ?4, media = ?5, changed = ?6, width = ?7, "
             "height = ?8, duration = ?9, created = iif(edited & 1, created, ?10), "
             "latitude = iif(edited & 2, latitude, ?11), longitude = iif(edited & 2, longitude, ?12) WHERE id = ?13")
        .bind(std::string_view(names))
        .bind(shown.inode)
        .bind(shown.size)
        .bind(shown.modified)
        .bind(static_cast<std::int64_t>(mediaTypeOf(shown.name)))
        .bind(facts.modificationDate)
        .bind(facts.width)
        .bind(facts.height)
        .bind(facts.duration)
        .bind(facts.creationDate)
        .bind(latitudeOf(facts.place))
        .bind(longitudeOf(facts.place))
        .bind(row.row)
        .finish();
    database_.run("UPDATE member SET created = (SELECT created FROM asset WHERE id = ?1) WHERE asset = ?1")
        .bind(row.row)
        .finish();
    tell(LibraryEvent::AssetChanged, row.identifier);
}

void LibraryRecords::removeAsset(const FileRow& row)
{
    {
        auto run = database_.run("SELECT c.identifier FROM member m JOIN collection c ON c.id = m.collection "
                                 "WHERE m.asset = ?");
        run.bind(row.row);
        while (run.next())
            tell(LibraryEvent::MemberRemoved, row.identifier, run.text(0));
    }
    database_.run("DELETE FROM member WHERE asset = ?").bind(row.row).finish();
    database_.run("DELETE FROM asset WHERE id = ?").bind(row.row).finish();
    tell(LibraryEvent::AssetRemoved, row.identifier);
}

void LibraryRecords::apply(const EditAsset& step)
{
    const auto asset = assetRowAndDate(step.localIdentifier);
    if (!asset)
        throwNotThere("photo", step.localIdentifier);
    if (step.creationDate) {
        database_.run("UPDATE asset SET created = ?, edited = edited | 1 WHERE id = ?")
            .bind(*step.creationDate)
            .bind(asset->first)
            .finish();
        database_.run("UPDATE member SET created = ? WHERE asset = ?")
            .bind(*step.creationDate)
            .bind(asset->first)
            .finish();
    }
    if (step.place)
        database_.run("UPDATE asset SET latitude = ?, longitude = ?, edited = edited | 2 WHERE id = ?")
            .bind(latitudeOf(*step.place))
            .bind(longitudeOf(*step.place))
            .bind(asset->first)
            .finish();
    tell(LibraryEvent::AssetChanged, step.localIdentifier);
}

std::optional<std::pair<std::int64_t, double>> LibraryRecords::assetRowAndDate(const std::string& identifier)
{
    auto run = database_.run("SELECT id, created FROM asset WHERE identifier = ?");
    if (!run.bind(std::string_view(identifier)).next())
        return std::nullopt;
    return std::pair(run.whole(0), run.real(1));
}

std::optional<LibraryRecords::Collection> LibraryRecords::collection(const std::string& identifier)
{
    auto run = database_.run("SELECT id, folder, parent, title FROM collection WHERE identifier = ?");
    if (!run.bind(std::string_view(identifier)).next())
        return std::nullopt;
    return Collection { run.whole(0), run.whole(1) != 0, run.whole(2), run.text(3) };
}

LibraryRecords::Collection LibraryRecords::requiredCollection(const std::string& identifier)
{
    auto found = collection(identifier);
    if (!found)
        throwNotThere("album or folder", identifier);
    return *found;
}

void LibraryRecords::apply(const AddCollection& step)
{
    database_.run("INSERT INTO collection(identifier, title, folder) VALUES(?, ?, ?)")
        .bind(std::string_view(step.localIdentifier))
        .bind(std::string_view(step.title))
        .bind(static_cast<std::int64_t>(step.isFolder))
        .finish();
    tell(LibraryEvent::CollectionAdded, step.localIdentifier);
}

void LibraryRecords::apply(const RenameCollection& step)
{
    const auto found = requiredCollection(step.localIdentifier);
    database_.run("UPDATE collection SET title = ? WHERE id = ?")
        .bind(std::string_view(step.title))
        .bind(found.row)
        .finish();
    tell(LibraryEvent::CollectionChanged, step.localIdentifier);
}

void LibraryRecords::apply(const RemoveCollection& step)
{
    const auto found = requiredCollection(step.localIdentifier);
    database_.run("DELETE FROM member WHERE collection = ?").bind(found.row).finish();
    database_.run("UPDATE collection SET parent = 0 WHERE parent = ?").bind(found.row).finish();
    database_.run("DELETE FROM collection WHERE id = ?").bind(found.row).finish();
    tell(LibraryEvent::CollectionRemoved, step.localIdentifier);
}

void LibraryRecords::apply(const AddMember& step)
{
    const auto holder = requiredCollection(step.collection);
    if (holder.isFolder) {
        moveInto(step, holder);
        return;
    }
    const auto asset = assetRowAndDate(step.member);
    if (!asset)
        throwNotThere("photo", step.member);
    {
        auto run = database_.run("SELECT 1 FROM member WHERE collection = ? AND created = ? AND asset = ?");
        if (run.bind(holder.row).bind(asset->second).bind(asset->first).next())
            return;
    }
    database_.run("INSERT INTO member(collection, created, asset) VALUES(?, ?, ?)")
        .bind(holder.row)
        .bind(asset->second)
        .bind(asset->first)
        .finish();
    tell(LibraryEvent::MemberAdded, step.member, step.collection);
}

std::int64_t LibraryRecords::parentOf(std::int64_t row)
{
    auto run = database_.run("SELECT parent FROM collection WHERE id = ?");
    return run.bind(row).next() ? run.whole(0) : 0;
}

std::string LibraryRecords::identifierOfCollection(std::int64_t row)
{
    auto run = database_.run("SELECT identifier FROM collection WHERE id = ?");
    return run.bind(row).next() ? run.text(0) : std::string();
}

void LibraryRecords::moveInto(const AddMember& step, const Collection& folder)
{
    const auto member = requiredCollection(step.member);
    for (std::int64_t outer = folder.row; outer != 0; outer = parentOf(outer))
        if (outer == member.row)
            throw NSError(PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
                "The folder \"" + member.title + "\" cannot lie in itself; choose another one.");
    if (member.parent == folder.row)
        return;
    if (member.parent != 0)
        tell(LibraryEvent::MemberRemoved, step.member, identifierOfCollection(member.parent));
    database_.run("UPDATE collection SET parent = ? WHERE id = ?").bind(folder.row).bind(member.row).finish();
    tell(LibraryEvent::MemberAdded, step.member, step.collection);
}

void LibraryRecords::apply(const RemoveMember& step)
{
    const auto holder = requiredCollection(step.collection);
    if (holder.isFolder) {
        const auto member = requiredCollection(step.member);
        if (member.parent != holder.row)
            return;
        database_.run("UPDATE collection SET parent = 0 WHERE id = ?").bind(member.row).finish();
        tell(LibraryEvent::MemberRemoved, step.member, step.collection);
        return;
    }
    const auto asset = assetRowAndDate(step.member);
    if (!asset)
        return;
    auto run = database_.run("DELETE FROM member WHERE collection = ? AND created = ? AND asset = ? RETURNING 1");
    const bool was = run.bind(holder.row).bind(asset->second).bind(asset->first).next();
    if (was)
        run.finish();
    if (was)
        tell(LibraryEvent::MemberRemoved, step.member, step.collection);
}

}
