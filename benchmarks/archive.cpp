// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSKeyedArchiver.h"

#include <benchmark/benchmark.h>

#include <string>

namespace velmora {

namespace {

/// What a photo's record is like: two buffers, metadata, a date, a place.
std::shared_ptr<NSDictionary> record(std::size_t bytes)
{
    const auto exif = make<NSDictionary>(ArchiveDictionary { { "ExposureTime", 0.01 }, { "FNumber", 1.8 },
        { "ISOSpeedRatings", make<NSArray>(std::vector<ArchiveValue> { std::int64_t { 100 } }) },
        { "LensModel", std::string("back camera 4.25mm f/1.8") } });
    return make<NSDictionary>(
        ArchiveDictionary { { "jpgImageData", make<NSData>(std::vector<std::uint8_t>(bytes, 0x5A)) },
            { "dngImageData", ArchiveValue() }, { "captureDate", make<NSDate>(789015845.0) },
            { "exifDictionary",
                make<NSDictionary>(ArchiveDictionary { { "{Exif}", exif }, { "Orientation", std::int64_t { 6 } } }) },
            { "landmarkName", std::string("Tour Eiffel") } });
}

void archiveAndUnarchive(benchmark::State& state)
{
    const auto root = record(static_cast<std::size_t>(state.range(0)));
    for (auto each : state) {
        const auto archive = NSKeyedArchiver::archivedDataWithRootObject(root);
        benchmark::DoNotOptimize(NSKeyedUnarchiver::unarchiveTopLevelObject(archive->bytes()));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// The floor: the image data copied into an archive and out of it.
void copyTwice(benchmark::State& state)
{
    const std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto each : state) {
        const std::vector<std::uint8_t> archive(data);
        benchmark::DoNotOptimize(archive.data());
        const std::vector<std::uint8_t> read(archive);
        benchmark::DoNotOptimize(read.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void archiveManyDates(benchmark::State& state)
{
    std::vector<ArchiveValue> dates;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        dates.emplace_back(make<NSDate>(static_cast<double>(i)));
    const auto root = make<NSArray>(std::move(dates));
    for (auto each : state) {
        const auto archive = NSKeyedArchiver::archivedDataWithRootObject(root);
        benchmark::DoNotOptimize(NSKeyedUnarchiver::unarchiveTopLevelObject(archive->bytes()));
    }
    state.SetComplexityN(state.range(0));
}

}

BENCHMARK(archiveAndUnarchive)->Arg(2 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(copyTwice)->Arg(2 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(archiveManyDates)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond)->Complexity();

}
