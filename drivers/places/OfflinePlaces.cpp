// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/OfflinePlaces.h"

#include "platform/Foundation/DispatchQueue.h"

#include "drivers/places/PlaceTable.h"

#include <cerrno>
#include <cmath>
#include <utility>

namespace velmora::drivers::places {

/// Outlives the driver while questions wait. The table is touched on the queue alone.
struct OfflinePlaces::Tables {
    explicit Tables(std::string where)
        : folder(std::move(where))
    {
    }

    /// Throws NSError; the next question tries again, for the package may have been installed meanwhile.
    const PlaceTable& loaded()
    {
        if (!table)
            table = std::make_unique<PlaceTable>(folder);
        return *table;
    }

    DispatchQueue queue { "org.velmora.places" };
    std::string folder;
    std::unique_ptr<PlaceTable> table;
};

OfflinePlaces::OfflinePlaces(std::string folder)
    : tables_(std::make_shared<Tables>(std::move(folder)))
{
}

void OfflinePlaces::reverseGeocode(std::shared_ptr<CLLocation> location, Answer answer)
{
    tables_->queue.async([tables = tables_, location = std::move(location), answer = std::move(answer)] {
        const auto coordinate = location->coordinate();
        if (!std::isfinite(coordinate.latitude) || !std::isfinite(coordinate.longitude))
            return answer(
                std::nullopt, NSError(NSPOSIXErrorDomain, EDOM, "A coordinate that is not a number has no name."));

        std::vector<std::shared_ptr<CLPlacemark>> places;
        try {
            if (auto place = tables->loaded().nearest(coordinate))
                places.push_back(std::move(place));
        } catch (const NSError& error) {
            return answer(std::nullopt, error);
        }
        answer(std::move(places), std::nullopt);
    });
}

}
