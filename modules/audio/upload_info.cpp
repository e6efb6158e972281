#include "modules/audio/upload_info.h"

#include <cstdlib>
#include <ctime>
#include <ostream>
#include <utility>

namespace {

std::string drawStoredName(const std::string& fileExtension) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::string name = std::to_string(std::rand());
    if (!fileExtension.empty()) {
        name += "." + fileExtension;
    }
    return name;
}

}  // namespace

PendingUpload& uploadfileInfo = *new PendingUpload;

UploadInfo::UploadInfo(const std::string& name, const std::string& file_extension)
    : storedName_(drawStoredName(file_extension)), name_(name), fileExtension_(file_extension) {}

std::string UploadInfo::toString() const {
    return "name: " + name_ + "; file_extension: " + fileExtension_ + ";";
}

UploadInfoAudio::UploadInfoAudio(const std::string& name, const std::string& file_extension,
                                 unsigned startTime, unsigned endTime, const std::string& markerId)
    : UploadInfo(name, file_extension),
      startTime_(startTime),
      endTime_(endTime),
      markerId_(markerId) {}

std::string UploadInfoAudio::toString() const {
    return UploadInfo::toString() + " start_time: " + std::to_string(startTime_) +
           "; marker_id: " + markerId_ + "; end_time: " + std::to_string(endTime_) + ";";
}

std::ostream& operator<<(std::ostream& out, const UploadInfo& info) {
    return out << info.toString();
}

std::shared_ptr<UploadInfo> PendingUpload::get() const {
    const MutexLocker lock(mutex_);
    return info_;
}

std::shared_ptr<UploadInfo> PendingUpload::take() {
    const MutexLocker lock(mutex_);
    return std::exchange(info_, nullptr);
}

bool PendingUpload::announce(const std::shared_ptr<UploadInfo>& info) {
    const MutexLocker lock(mutex_);
    if (info_ != nullptr) {
        return false;
    }
    info_ = info;
    return true;
}
