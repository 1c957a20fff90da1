// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieIndex.h"

#include "drivers/media/MediaErrors.h"
#include "drivers/media/MovieAtoms.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <functional>
#include <map>
#include <utility>

namespace velmora::drivers::media {

namespace {

constexpr std::uint64_t mostIndexBytes = 512U << 20;

NSError noMovie(const std::string& path, const std::string& reason)
{
    return damaged("The movie " + path + " cannot be completed: " + reason + ".");
}

class File {
public:
    explicit File(const std::string& path)
        : path_(path)
        , descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        if (descriptor_ < 0)
            throw errorFromErrno(errno, "The movie " + path + " cannot be opened");
    }
    ~File() { ::close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::uint64_t size() const
    {
        struct stat status { };
        ::fstat(descriptor_, &status);
        return static_cast<std::uint64_t>(status.st_size);
    }

    Bytes read(std::uint64_t offset, std::uint64_t count) const
    {
        if (count > mostIndexBytes)
            throw noMovie(path_, "it is damaged");
        Bytes bytes(count);
        std::size_t filled = 0;
        while (filled < count) {
            const ssize_t got
                = ::pread(descriptor_, bytes.data() + filled, count - filled, static_cast<off_t>(offset + filled));
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                throw errorFromErrno(errno, "The movie " + path_ + " cannot be read");
            if (got == 0)
                throw noMovie(path_, "it ends too early");
            filled += static_cast<std::size_t>(got);
        }
        return bytes;
    }

    void write(std::uint64_t offset, const Bytes& bytes) const
    {
        std::size_t written = 0;
        while (written < bytes.size()) {
            const ssize_t put = ::pwrite(
                descriptor_, bytes.data() + written, bytes.size() - written, static_cast<off_t>(offset + written));
            if (put < 0 && errno != EINTR)
                throw errorFromErrno(errno, "The index of the movie " + path_ + " cannot be written");
            written += put > 0 ? static_cast<std::size_t>(put) : 0;
        }
    }

    void cut(std::uint64_t size) const { ::ftruncate(descriptor_, static_cast<off_t>(size)); }

private:
    std::string path_;
    int descriptor_;
};

struct Sample {
    std::uint64_t offset = 0;
    std::int64_t decodeTime = 0;
    std::uint32_t duration = 0, size = 0;
    std::int32_t shift = 0; ///< from decoding to showing
    bool key = true;
};

/// What a fragment says where its runs do not.
struct Defaults {
    std::uint32_t duration = 0, size = 0, flags = 0;
};

struct Track {
    std::uint32_t number = 0, timescale = 1;
    bool pictures = false;
    Atom atom;
    Defaults defaults;
    std::vector<Sample> samples;

    std::int64_t start() const { return samples.front().decodeTime + samples.front().shift; }
    /// Ticks of what an encoder of sound puts in front, which is a frame.
    std::int64_t lead() const { return pictures ? 0 : samples.front().duration; }
    double startInSeconds() const { return static_cast<double>(start() - lead()) / timescale; }
    std::int64_t length() const ///< ticks from the first sample to the end of the last
    {
        std::int64_t end = 0;
        for (const Sample& sample : samples)
            end = std::max(end, sample.decodeTime + sample.shift + sample.duration);
        return end - start();
    }
};

struct Movie {
    std::uint64_t indexOffset = 0, indexSize = 0, end = 0;
    Bytes index; ///< the content of the old one
    std::uint32_t timescale = 1000;
    std::vector<Track> tracks;

    Track* track(std::uint32_t number)
    {
        const auto found
            = std::find_if(tracks.begin(), tracks.end(), [&](const Track& each) { return each.number == number; });
        return found == tracks.end() ? nullptr : &*found;
    }
};

std::span<const std::uint8_t> contentOf(std::span<const std::uint8_t> parent, std::initializer_list<const char*> path)
{
    for (const char* type : path) {
        const auto found = atomIn(parent, type);
        if (!found)
            throw damaged(
                std::string("The movie is damaged: it has no ") + type + " table. Use another copy of the file.");
        parent = found->content;
    }
    return parent;
}

/// The number of a header that starts with two times, which are long in its version 1.
std::uint32_t afterTimes(std::span<const std::uint8_t> header)
{
    AtomReader reader(header);
    const bool longTimes = reader.u32() >> 24 == 1;
    reader.skip(longTimes ? 16 : 8);
    return reader.u32();
}

Track readTrack(const Atom& atom)
{
    Track track;
    track.atom = atom;
    track.number = afterTimes(contentOf(atom.content, { "tkhd" }));
    track.timescale = std::max(1U, afterTimes(contentOf(atom.content, { "mdia", "mdhd" })));
    AtomReader handler(contentOf(atom.content, { "mdia", "hdlr" }));
    handler.skip(8);
    track.pictures = handler.u32() == 0x76696465; // "vide"
    return track;
}

void readIndex(Movie& movie)
{
    movie.timescale = std::max(1U, afterTimes(contentOf(movie.index, { "mvhd" })));
    for (const Atom& atom : atomsIn(movie.index))
        if (atom.type == "trak")
            movie.tracks.push_back(readTrack(atom));
    for (const Atom& atom : atomsIn(contentOf(movie.index, { "mvex" }))) {
        if (atom.type != "trex")
            continue;
        AtomReader reader(atom.content);
        reader.skip(4);
        Track* track = movie.track(reader.u32());
        reader.skip(4);
        if (track)
            track->defaults = { reader.u32(), reader.u32(), reader.u32() };
    }
}

/// Whether the sample can be decoded without one before it.
bool isKey(std::uint32_t flags)
{
    constexpr std::uint32_t depends = 0x10000;
    return (flags & depends) == 0;
}

struct Fragment {
    std::uint64_t offset = 0; ///< of the fragment's atom
    std::uint64_t data = 0; ///< where the next run begins, unless it says so itself
    std::uint64_t limit = 0; ///< the end of what is there
};

/// One run of samples. Answers false when the file ends within it.
bool readRun(
    const Atom& run, Track& track, const Defaults& defaults, std::uint64_t base, std::int64_t& time, Fragment& fragment)
{
    AtomReader reader(run.content);
    const std::uint32_t flags = reader.u32();
    const std::uint32_t count = reader.u32();
    if (flags & 0x1)
        fragment.data = base + static_cast<std::uint64_t>(static_cast<std::int32_t>(reader.u32()));
    std::uint32_t first = defaults.flags;
    if (flags & 0x4)
        first = reader.u32();
    for (std::uint32_t i = 0; i < count; ++i) {
        Sample sample;
        sample.duration = flags & 0x100 ? reader.u32() : defaults.duration;
        sample.size = flags & 0x200 ? reader.u32() : defaults.size;
        const std::uint32_t own = flags & 0x400 ? reader.u32() : i == 0 ? first : defaults.flags;
        sample.shift = flags & 0x800 ? static_cast<std::int32_t>(reader.u32()) : 0;
        sample.key = isKey(own);
        sample.offset = fragment.data;
        sample.decodeTime = time;
        if (sample.offset > fragment.limit || sample.size > fragment.limit - sample.offset)
            return false;
        fragment.data += sample.size;
        time += sample.duration;
        track.samples.push_back(sample);
        if (!(flags & 0x700) && sample.size == 0)
            break; // a damaged count of nothings
    }
    return true;
}

bool readFragmentTrack(Movie& movie, const Atom& atom, Fragment& fragment)
{
    AtomReader header(contentOf(atom.content, { "tfhd" }));
    const std::uint32_t flags = header.u32();
    Track* track = movie.track(header.u32());
    if (!track)
        return true;
    std::uint64_t base = fragment.offset;
    if (flags & 0x1)
        base = header.u64();
    if (flags & 0x2)
        header.skip(4);
    Defaults defaults = track->defaults;
    if (flags & 0x8)
        defaults.duration = header.u32();
    if (flags & 0x10)
        defaults.size = header.u32();
    if (flags & 0x20)
        defaults.flags = header.u32();
    std::int64_t time = track->samples.empty() ? 0 : track->samples.back().decodeTime + track->samples.back().duration;
    if (const auto start = atomIn(atom.content, "tfdt")) {
        AtomReader reader(start->content);
        const bool isLong = reader.u32() >> 24 == 1;
        time = static_cast<std::int64_t>(isLong ? reader.u64() : reader.u32());
    }
    for (const Atom& run : atomsIn(atom.content))
        if (run.type == "trun" && !readRun(run, *track, defaults, base, time, fragment))
            return false;
    return true;
}

/// Reads the old index and all fragments that are there as a whole.
Movie readMovie(const File& file, const std::string& path)
{
    Movie movie;
    movie.end = file.size();
    for (std::uint64_t at = 0; at + 8 <= movie.end;) {
        const Bytes header = file.read(at, std::min<std::uint64_t>(16, movie.end - at));
        AtomReader reader(header);
        std::uint64_t size = reader.u32();
        const std::uint32_t type = reader.u32();
        if (size == 1 && header.size() == 16)
            size = reader.u64();
        if (size < 8 || size > movie.end - at)
            break; // the writer was interrupted here
        if (type == 0x6D6F6F76 && movie.index.empty()) { // "moov"
            movie.indexOffset = at;
            movie.indexSize = size;
            movie.index = file.read(at + 8, size - 8);
            if (!atomIn(movie.index, "mvex"))
                return movie;
            readIndex(movie);
        }
        if (type == 0x6D6F6F66 && !movie.index.empty()) { // "moof"
            const Bytes content = file.read(at + 8, size - 8);
            Fragment fragment { at, at + size, movie.end };
            bool whole = true;
            for (const Atom& atom : atomsIn(content))
                if (atom.type == "traf" && whole)
                    whole = readFragmentTrack(movie, atom, fragment);
            if (!whole)
                break;
        }
        at += size;
    }
    if (movie.index.empty())
        throw noMovie(path, "it is not a movie, or nothing had been written to it yet");
    return movie;
}

std::uint64_t inMovieTime(const Movie& movie, std::int64_t ticks, std::uint32_t timescale)
{
    return static_cast<std::uint64_t>(
        std::llround(static_cast<double>(ticks) * movie.timescale / static_cast<double>(timescale)));
}

/// Counted pairs of equal values in a row.
template <class Value> Bytes runs(const std::vector<Sample>& samples, Value value)
{
    Bytes table;
    std::uint32_t entries = 0;
    for (std::size_t i = 0; i < samples.size();) {
        std::size_t end = i + 1;
        while (end < samples.size() && value(end) == value(i))
            ++end;
        put32(table, end - i);
        put32(table, static_cast<std::uint32_t>(value(i)));
        ++entries;
        i = end;
    }
    Bytes counted;
    put32(counted, entries);
    putBytes(counted, table);
    return counted;
}

/// Samples that follow each other in the file are one chunk.
std::pair<Bytes, Bytes> chunks(const std::vector<Sample>& samples, bool far)
{
    Bytes places, groups;
    std::uint32_t count = 0, entries = 0;
    std::size_t before = 0;
    for (std::size_t i = 0; i < samples.size();) {
        std::size_t end = i + 1;
        while (end < samples.size() && samples[end].offset == samples[end - 1].offset + samples[end - 1].size)
            ++end;
        far ? put64(places, samples[i].offset) : put32(places, samples[i].offset);
        ++count;
        if (end - i != before) {
            put32(groups, count);
            put32(groups, end - i);
            put32(groups, 1);
            ++entries;
            before = end - i;
        }
        i = end;
    }
    Bytes countedPlaces, countedGroups;
    put32(countedPlaces, count);
    putBytes(countedPlaces, places);
    put32(countedGroups, entries);
    putBytes(countedGroups, groups);
    return { countedPlaces, countedGroups };
}

Bytes sampleTables(const Track& track, std::span<const std::uint8_t> description)
{
    const std::vector<Sample>& samples = track.samples;
    const bool far = samples.back().offset > 0xFFFFFFFF;
    const Bytes times = runs(samples, [&](std::size_t i) {
        return i + 1 < samples.size() ? samples[i + 1].decodeTime - samples[i].decodeTime
                                      : static_cast<std::int64_t>(samples[i].duration);
    });
    Bytes sizes, keys;
    put32(sizes, 0);
    put32(sizes, samples.size());
    std::uint32_t keyCount = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        put32(sizes, samples[i].size);
        if (samples[i].key) {
            put32(keys, i + 1);
            ++keyCount;
        }
    }
    Bytes tables = fullAtom("stts", 0, 0, { times });
    if (std::any_of(samples.begin(), samples.end(), [](const Sample& sample) { return sample.shift != 0; })) {
        const Bytes shifts = runs(samples, [&](std::size_t i) { return samples[i].shift; });
        putBytes(tables, fullAtom("ctts", 1, 0, { shifts }));
    }
    if (keyCount < samples.size()) {
        Bytes count;
        put32(count, keyCount);
        putBytes(tables, fullAtom("stss", 0, 0, { count, keys }));
    }
    const auto [places, groups] = chunks(samples, far);
    putBytes(tables, fullAtom("stsc", 0, 0, { groups }));
    putBytes(tables, fullAtom("stsz", 0, 0, { sizes }));
    putBytes(tables, fullAtom(far ? "co64" : "stco", 0, 0, { places }));
    return atom("stbl", { description, tables });
}

/// A copy of a header with another duration behind its two times and `between` bytes more; always of version 1.
Bytes withDuration(const Atom& header, std::size_t between, std::uint64_t duration)
{
    AtomReader reader(header.content);
    const std::uint32_t first = reader.u32();
    const bool longTimes = first >> 24 == 1;
    Bytes bytes;
    put32(bytes, 1U << 24 | (first & 0xFFFFFF));
    for (int i = 0; i < 2; ++i)
        put64(bytes, longTimes ? reader.u64() : reader.u32());
    const std::size_t place = header.content.size() - reader.left();
    reader.skip(between + (longTimes ? 8 : 4));
    putBytes(bytes, header.content.subspan(place, between));
    put64(bytes, duration);
    putBytes(bytes, header.content.subspan(place + between + (longTimes ? 8 : 4)));
    return atom(header.type, { bytes });
}

/// Where the track's first sample stands in the movie, and what of it is not shown: an encoder of sound puts samples in
/// front that are not heard.
Bytes editList(const Movie& movie, const Track& track, double origin)
{
    const double offset = track.startInSeconds() - origin;
    const std::int64_t hidden = offset < 0 ? std::llround(-offset * track.timescale) : 0;
    const auto empty = static_cast<std::uint64_t>(offset > 0 ? std::llround(offset * movie.timescale) : 0);
    Bytes list;
    put32(list, empty > 0 ? 2 : 1);
    constexpr std::uint32_t normalSpeed = 0x10000;
    if (empty > 0) {
        put64(list, empty);
        put64(list, ~std::uint64_t { 0 });
        put32(list, normalSpeed);
    }
    put64(list, inMovieTime(movie, std::max<std::int64_t>(0, track.length() - hidden), track.timescale));
    put64(list, static_cast<std::uint64_t>(hidden + track.samples.front().shift));
    put32(list, normalSpeed);
    return atom("edts", { fullAtom("elst", 1, 0, { list }) });
}

/// What a player shows of the track, in movie time.
std::uint64_t shownLength(const Movie& movie, const Track& track, double origin)
{
    const auto before = std::llround((track.startInSeconds() - origin) * track.timescale);
    return inMovieTime(movie, std::max<std::int64_t>(0, track.length() + before), track.timescale);
}

/// A copy of an atom in which one inner atom is another.
Bytes withReplaced(const Atom& outer, std::string_view type, const std::function<Bytes(const Atom&)>& replacement)
{
    Bytes content;
    for (const Atom& inner : atomsIn(outer.content))
        putBytes(content, inner.type == type ? replacement(inner) : Bytes(inner.all.begin(), inner.all.end()));
    return atom(outer.type, { content });
}

Bytes mediaAtom(const Atom& media, const Track& track)
{
    Bytes content;
    for (const Atom& part : atomsIn(media.content)) {
        if (part.type == "mdhd")
            putBytes(content, withDuration(part, 4, static_cast<std::uint64_t>(track.length())));
        else if (part.type == "minf")
            putBytes(content, withReplaced(part, "stbl", [&track](const Atom& tables) {
                const auto description = atomIn(tables.content, "stsd");
                return sampleTables(track, description ? description->all : tables.all);
            }));
        else
            putBytes(content, part.all);
    }
    return atom("mdia", { content });
}

Bytes trackAtom(const Movie& movie, const Track& track, double origin)
{
    Bytes content;
    for (const Atom& part : atomsIn(track.atom.content)) {
        if (part.type == "tkhd") {
            putBytes(content, withDuration(part, 8, shownLength(movie, track, origin)));
            putBytes(content, editList(movie, track, origin));
        } else if (part.type == "mdia")
            putBytes(content, mediaAtom(part, track));
        else if (part.type != "edts")
            putBytes(content, part.all);
    }
    return atom("trak", { content });
}

void putText(Bytes& to, std::string_view text)
{
    to.insert(to.end(), text.begin(), text.end());
}

/// A track of one sample, which says that the movie's still picture was taken at its time.
class StillImageTrack {
public:
    StillImageTrack(std::uint32_t number, std::uint32_t timescale, std::uint64_t time)
        : number_(number)
        , timescale_(timescale)
        , time_(time)
    {
    }

    /// Nine bytes, the key's number, and -1 as one byte.
    static Bytes sample()
    {
        Bytes bytes;
        put32(bytes, 9);
        put32(bytes, 1);
        bytes.push_back(0xFF);
        return bytes;
    }

    Bytes atom(std::uint64_t sampleOffset) const
    {
        Bytes header;
        for (const std::uint64_t value : { std::uint64_t { 0 }, std::uint64_t { 0 } })
            put64(header, value);
        put32(header, number_);
        put32(header, 0);
        put64(header, time_ + 1);
        for (int i = 0; i < 4; ++i)
            put32(header, 0);
        for (const std::uint32_t value : { 0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U, 0U, 0U })
            put32(header, value);
        Bytes edits;
        put32(edits, time_ > 0 ? 2 : 1);
        if (time_ > 0) {
            put64(edits, time_);
            put64(edits, ~std::uint64_t { 0 });
            put32(edits, 0x10000);
        }
        put64(edits, 1);
        put64(edits, 0);
        put32(edits, 0x10000);
        constexpr std::uint32_t enabledInMovie = 0xF;
        return media::atom("trak",
            { fullAtom("tkhd", 1, enabledInMovie, { header }),
                media::atom("edts", { fullAtom("elst", 1, 0, { edits }) }), media(sampleOffset) });
    }

private:
    Bytes media(std::uint64_t sampleOffset) const
    {
        Bytes header;
        put64(header, 0);
        put64(header, 0);
        put32(header, timescale_);
        put64(header, 1);
        put32(header, 0x55C40000); // no language
        Bytes handler, dataHandler;
        putText(handler, "mhlrmeta");
        handler.resize(20);
        handler.push_back(0);
        putText(dataHandler, "dhlralis");
        dataHandler.resize(20);
        dataHandler.push_back(0);
        Bytes graphics;
        for (const std::uint32_t value : { 0x40U, 0x8000U, 0x8000U, 0x8000U, 0U, 0U })
            put16(graphics, value);
        Bytes one;
        put32(one, 1);
        const Bytes references = media::atom("dinf", { fullAtom("dref", 0, 0, { one, fullAtom("alis", 0, 1, {}) }) });
        return media::atom("mdia",
            { fullAtom("mdhd", 1, 0, { header }), fullAtom("hdlr", 0, 0, { handler }),
                media::atom("minf",
                    { media::atom("gmhd", { fullAtom("gmin", 0, 0, { graphics }) }),
                        fullAtom("hdlr", 0, 0, { dataHandler }), references, tables(sampleOffset) }) });
    }

    static Bytes tables(std::uint64_t sampleOffset)
    {
        const auto numbers = [](std::initializer_list<std::uint64_t> values) {
            Bytes bytes;
            for (const std::uint64_t value : values)
                put32(bytes, value);
            return bytes;
        };
        Bytes key, type = numbers({ 0, 65 }); // a type of the usual list: a signed byte
        putText(key, "mdtacom.apple.quicktime.still-image-time");
        const Bytes keys = media::atom("keys",
            { media::atom(
                std::string_view("\0\0\0\1", 4), { media::atom("keyd", { key }), media::atom("dtyp", { type }) }) });
        Bytes start(6);
        put16(start, 1);
        Bytes place = numbers({ 1 });
        put64(place, sampleOffset);
        return media::atom("stbl",
            { fullAtom("stsd", 0, 0, { numbers({ 1 }), media::atom("mebx", { start, keys }) }),
                fullAtom("stts", 0, 0, { numbers({ 1, 1, 1 }) }), fullAtom("stsc", 0, 0, { numbers({ 1, 1, 1, 1 }) }),
                fullAtom("stsz", 0, 0, { numbers({ sample().size(), 1 }) }), fullAtom("co64", 0, 0, { place }) });
    }

    std::uint32_t number_, timescale_;
    std::uint64_t time_;
};

/// The new index. The still picture's sample lies at `stillOffset`.
Bytes indexAtom(const Movie& movie, const std::optional<std::uint64_t>& stillTime, std::uint64_t stillOffset)
{
    double origin = 0;
    for (const Track& track : movie.tracks)
        if (track.pictures && !track.samples.empty())
            origin = track.startInSeconds();
    std::uint64_t length = 0;
    std::uint32_t next = 1;
    for (const Track& track : movie.tracks) {
        next = std::max(next, track.number + 1);
        if (!track.samples.empty())
            length = std::max(length, shownLength(movie, track, origin));
    }
    std::map<std::uint32_t, const Track*> tracks;
    for (const Track& track : movie.tracks)
        tracks.emplace(track.number, &track);
    Bytes content;
    for (const Atom& part : atomsIn(movie.index)) {
        if (part.type == "mvhd") {
            Bytes header = withDuration(part, 4, length);
            overwrite32(header, header.size() - 4, next + (stillTime ? 1 : 0));
            putBytes(content, header);
        } else if (part.type == "trak") {
            const auto track = tracks.find(readTrack(part).number);
            if (track != tracks.end() && !track->second->samples.empty())
                putBytes(content, trackAtom(movie, *track->second, origin));
        } else if (part.type != "mvex")
            putBytes(content, part.all);
    }
    if (stillTime)
        putBytes(content, StillImageTrack(next, movie.timescale, *stillTime).atom(stillOffset));
    return atom("moov", { content });
}

const Track& pictureTrack(const Movie& movie, const std::string& path)
{
    const auto found = std::find_if(movie.tracks.begin(), movie.tracks.end(),
        [](const Track& track) { return track.pictures && !track.samples.empty(); });
    if (found == movie.tracks.end())
        throw noMovie(path, "it holds no picture yet");
    return *found;
}

}

bool isOrdinaryMovie(const std::string& path)
{
    return readMovie(File(path), path).tracks.empty();
}

CMTime indexMovie(const std::string& path, std::optional<CMTime> stillImageTime)
{
    const File file(path);
    const Movie movie = readMovie(file, path);
    if (movie.tracks.empty()) { // an ordinary one
        const std::span<const std::uint8_t> header = contentOf(movie.index, { "mvhd" });
        AtomReader reader(header);
        const bool longTimes = reader.u32() >> 24 == 1;
        reader.skip(longTimes ? 16 : 8);
        const std::uint32_t timescale = reader.u32();
        return CMTimeMake(
            static_cast<std::int64_t>(longTimes ? reader.u64() : reader.u32()), static_cast<std::int32_t>(timescale));
    }
    const Track& pictures = pictureTrack(movie, path);
    std::optional<std::uint64_t> stillTime;
    if (stillImageTime && CMTIME_IS_NUMERIC(*stillImageTime))
        stillTime = static_cast<std::uint64_t>(
            std::llround(std::max(0.0, CMTimeGetSeconds(*stillImageTime)) * movie.timescale));

    // Behind what is there, a damaged end included: what stands there now is media data that nobody refers to.
    Bytes end;
    if (stillTime)
        end = StillImageTrack::sample();
    const std::uint64_t indexPlace = movie.end + end.size();
    putBytes(end, indexAtom(movie, stillTime, movie.end));
    try {
        file.write(movie.end, end);
    } catch (const NSError&) {
        file.cut(movie.end); // it plays as it did
        throw;
    }
    Bytes header;
    put32(header, 1);
    putText(header, "mdat");
    put64(header, indexPlace - movie.indexOffset);
    file.write(movie.indexOffset, header);
    return CMTimeMake(pictures.length(), static_cast<std::int32_t>(pictures.timescale));
}

}
