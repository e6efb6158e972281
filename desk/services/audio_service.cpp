#include "desk/services/audio_service.h"

#include "base/log.h"
#include "krpbus/messages/simple_messages.h"

namespace desk {

namespace {

/// Without a slash at the end: the directory in which its files are, as a path tells it of them.
std::filesystem::path asParent(const std::filesystem::path& directory) {
    return (directory / "file").lexically_normal().parent_path();
}

}  // namespace

AudioService::AudioService(AudioStore& store, std::filesystem::path uploadDirectory)
    : store_(store), uploadDirectory_(asParent(uploadDirectory)) {}

std::unique_ptr<KRPMessageResponse> AudioService::answer(const KRPMessageRequest& request) {
    switch (request.getKrpMsgID()) {
        case KRPResponseGetAudioList::kId:
            return std::make_unique<KRPResponseGetAudioList>(store_.files());
        case KRPRequestSetAudioFile::kId:
            return set(request);
        default:
            return nullptr;
    }
}

std::unique_ptr<KRPMessageResponse> AudioService::set(const KRPMessageRequest& request) {
    auto answer = std::make_unique<SimpleMessageResponse<KRPRequestSetAudioFile::kId>>();
    const auto fail = [&answer](errorCode_t code, const std::string& why) {
        LogUtil::log(LogLevel::Warning, "set", why);
        answer->setError(KRPMessageResponse::KRPSTATUS_ERROR, code, why);
    };
    try {
        if (const auto* wanted = dynamic_cast<const KRPRequestSetAudioFile*>(&request)) {
            set(*wanted);
        } else {
            fail(errorCode_t::InvalidParameter, "no audio file is named");
        }
    } catch (const AudioError& error) {
        fail(error.code, error.what());
    } catch (const std::runtime_error& error) {
        fail(errorCode_t::NoResources, error.what());
    }
    return answer;
}

void AudioService::set(const KRPRequestSetAudioFile& request) {
    const std::string& file = request.getFileName();
    if (store_.assign(file, request.getStartTime(), request.getEndTime(), request.getMarkerId())) {
        return;
    }
    if (!isUpload(file)) {
        throw AudioError(errorCode_t::NotFound, "there is no audio file \"" + file + "\"");
    }
    store_.takeOver(file, request.getStartTime(), request.getEndTime(), request.getMarkerId());
    LogUtil::log(LogLevel::Info, "set", "took over " + file);
}

bool AudioService::isUpload(const std::filesystem::path& file) const {
    const std::string name = file.filename().string();
    return file.parent_path() == uploadDirectory_ && !name.empty() && name != "." && name != "..";
}

}  // namespace desk
