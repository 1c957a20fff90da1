// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCapture.h"
#include "velmora/results/archivableClasses.h"

#include "platform/CoreImage/CIImage.h"
#include "platform/Foundation/NSURL.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<QVPhotoCaptureOutput> initWithJpgImageData(
    const std::shared_ptr<QVPhotoCapture>& capture, std::shared_ptr<NSData> data)
{
    return make<QVPhotoCaptureOutput>(capture, QVPhotoCaptureOutput::JpgImageData { std::move(data) });
}

std::shared_ptr<QVPhotoCaptureOutput> initWithRawImageData(
    const std::shared_ptr<QVPhotoCapture>& capture, std::shared_ptr<NSData> data)
{
    return make<QVPhotoCaptureOutput>(capture, QVPhotoCaptureOutput::RawImageData { std::move(data) });
}

}

QVPhotoCaptureOutput::QVPhotoCaptureOutput(
    const std::shared_ptr<QVPhotoCapture>& /*capture*/, JpgImageData jpgImageData)
    : jpgImageData_(std::move(jpgImageData.data))
{
}

QVPhotoCaptureOutput::QVPhotoCaptureOutput(
    const std::shared_ptr<QVPhotoCapture>& /*capture*/, RawImageData rawImageData)
    : dngImageData_(std::move(rawImageData.data))
{
}

void QVPhotoCaptureOutput::didConstruct()
{
    NSObject::didConstruct();
    nameArchivableClasses();
}

void QVPhotoCaptureOutput::nameArchivableClasses()
{
    registerArchivableClasses();
}

const ClassInfo& QVPhotoCaptureOutput::staticClass()
{
    using Output = QVPhotoCaptureOutput;
    static constexpr auto methods = methodTable(method<&Output::modify>("modifyWithJpgImageData:"),
        method<&Output::finalize>("finalizeWithDate:locationProvider:"), method<&Output::set>("setWithUserInfo:"),
        method<&Output::jpgImageData>("jpgImageData"), method<&Output::setJpgImageData>("setJpgImageData:"),
        method<&Output::dngImageData>("dngImageData"), method<&Output::setDngImageData>("setDngImageData:"),
        method<&Output::previewImage>("previewImage"), method<&Output::setPreviewImage>("setPreviewImage:"),
        method<&Output::exifDictionary>("exifDictionary"), method<&Output::setExifDictionary>("setExifDictionary:"),
        method<&Output::livePhotoMovieURL>("livePhotoMovieURL"),
        method<&Output::setLivePhotoMovieURL>("setLivePhotoMovieURL:"), method<&Output::creationDate>("creationDate"),
        method<&Output::setCreationDate>("setCreationDate:"), method<&Output::locationInfo>("locationInfo"),
        method<&Output::setLocationInfo>("setLocationInfo:"), method<&Output::flashFired>("flashFired"),
        method<&Output::setFlashFired>("setFlashFired:"), method<&Output::userInfo>("userInfo"),
        method<&Output::setUserInfo>("setUserInfo:"), method<&Output::encodeWithCoder>("encodeWithCoder:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&initWithJpgImageData>("initWithCapture:jpgImageData:"),
            classMethod<&initWithRawImageData>("initWithCapture:rawImageData:"),
            classMethod<&Output::initWithCoder>("initWithCoder:"), unavailableInitialiser());
    static const ClassInfo info { "Velmora.QVPhotoCaptureOutput", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<QVPhotoCaptureOutput> QVPhotoCaptureOutput::initWithCoder(const NSCoder& coder)
{
    const auto exifDictionary = decodedObject<NSDictionary>(coder, "exifDictionary");
    if (!exifDictionary)
        return nullptr; // before anything else is read

    auto output = make<QVPhotoCaptureOutput>(nullptr, JpgImageData { decodedObject<NSData>(coder, "jpgImageData") });
    output->dngImageData_ = decodedObject<NSData>(coder, "dngImageData");
    output->exifDictionary_ = exifDictionary->values();
    output->creationDate_ = decodedObject<NSDate>(coder, "creationDate");
    output->locationInfo_ = decodedObject<QVCaptureLocationInfo>(coder, "locationInfo");
    if (const auto userInfo = decodedObject<NSDictionary>(coder, "userInfo"))
        output->userInfo_ = userInfo->values();
    return output->jpgImageData_ || output->dngImageData_ ? output : nullptr;
}

void QVPhotoCaptureOutput::modify(std::shared_ptr<NSData> jpgImageData)
{
    jpgImageData_ = std::move(jpgImageData);
    dngImageData_ = nullptr;
}

void QVPhotoCaptureOutput::finalize(
    std::shared_ptr<NSDate> date, const std::shared_ptr<QVLocationProvider>& locationProvider)
{
    creationDate_ = std::move(date);
    if (locationProvider)
        locationInfo_ = QVCaptureLocationInfo::initWithLocationProvider(locationProvider);
}

void QVPhotoCaptureOutput::set(ArchiveDictionary userInfo)
{
    userInfo_ = std::move(userInfo);
}

void QVPhotoCaptureOutput::setJpgImageData(std::shared_ptr<NSData> data)
{
    jpgImageData_ = std::move(data);
}

void QVPhotoCaptureOutput::setDngImageData(std::shared_ptr<NSData> data)
{
    dngImageData_ = std::move(data);
}

void QVPhotoCaptureOutput::setPreviewImage(std::shared_ptr<CIImage> image)
{
    previewImage_ = std::move(image);
}

void QVPhotoCaptureOutput::setExifDictionary(ArchiveDictionary dictionary)
{
    exifDictionary_ = std::move(dictionary);
}

void QVPhotoCaptureOutput::setLivePhotoMovieURL(std::shared_ptr<NSURL> url)
{
    livePhotoMovieURL_ = std::move(url);
}

void QVPhotoCaptureOutput::setLivePhotoDisplayTime(std::optional<CMTime> time)
{
    livePhotoDisplayTime_ = time;
}

void QVPhotoCaptureOutput::setCreationDate(std::shared_ptr<NSDate> date)
{
    creationDate_ = std::move(date);
}

void QVPhotoCaptureOutput::setLocationInfo(std::shared_ptr<QVCaptureLocationInfo> info)
{
    locationInfo_ = std::move(info);
}

void QVPhotoCaptureOutput::setFlashFired(bool fired)
{
    flashFired_ = fired;
}

void QVPhotoCaptureOutput::setUserInfo(std::optional<ArchiveDictionary> userInfo)
{
    userInfo_ = std::move(userInfo);
}

void QVPhotoCaptureOutput::encodeWithCoder(NSCoder& coder) const
{
    coder.encodeObject(jpgImageData_, "jpgImageData");
    coder.encodeObject(dngImageData_, "dngImageData");
    coder.encodeObject(make<NSDictionary>(exifDictionary_), "exifDictionary");
    coder.encodeObject(creationDate_, "creationDate");
    coder.encodeObject(locationInfo_, "locationInfo");
    coder.encodeObject(userInfo_ ? make<NSDictionary>(*userInfo_) : nullptr, "userInfo");
}

}
