// The record of an upload that the browser has announced and whose data is still to come.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "base/mutex.h"

/// What the browser has said about the file.
class UploadInfo {
  public:
    /// Draws the name under which the file is stored. Fixed by the protocol: the random generator
    /// is seeded with the current second every time, so that two uploads announced within one
    /// second share a name.
    UploadInfo(const std::string& name, const std::string& file_extension);
    virtual ~UploadInfo() = default;
    UploadInfo(const UploadInfo&) = delete;
    UploadInfo& operator=(const UploadInfo&) = delete;

    /// The record as one line of text.
    virtual std::string toString() const;

    const std::string& getStoredName() const { return storedName_; }
    const std::string& getName() const { return name_; }
    const std::string& getFileExtension() const { return fileExtension_; }
    /// Looked at before a frame is stored.
    bool isReceiving() const { return receiving_; }

  private:
    std::string storedName_;
    std::string name_;
    std::string fileExtension_;

  protected:
    bool receiving_ = false;  // fixed by the protocol: nothing sets it
};

/// An audio file, with the time span and the marker that it belongs to.
class UploadInfoAudio : public UploadInfo {
  public:
    UploadInfoAudio(const std::string& name, const std::string& file_extension, unsigned startTime,
                    unsigned endTime, const std::string& markerId);

    std::string toString() const override;

    unsigned getStartTime() const { return startTime_; }
    unsigned getEndTime() const { return endTime_; }
    const std::string& getMarkerId() const { return markerId_; }

  private:
    unsigned startTime_;
    unsigned endTime_;
    std::string markerId_;
};

/// Writes toString(), so a derived record writes all of itself.
std::ostream& operator<<(std::ostream& out, const UploadInfo& info);

/// The place for the one upload that may be pending. The connection thread announces, stores and
/// cancels, the bus thread completes; who works on a record shares its ownership, so that it does
/// not go away meanwhile. Any thread; nothing is sent or waited for under the lock.
class PendingUpload {
  public:
    /// The pending upload, which stays pending; null when there is none.
    std::shared_ptr<UploadInfo> get() const;
    /// The pending upload, which is so no longer; null when there is none.
    std::shared_ptr<UploadInfo> take();
    /// Makes `info` the pending upload unless there is one already: then false, and `info` is
    /// untouched.
    bool announce(const std::shared_ptr<UploadInfo>& info);

  private:
    mutable Mutex mutex_;
    std::shared_ptr<UploadInfo> info_ GUARDED_BY(mutex_);
};

/// The one pending upload of the process. Never destroyed, since threads may still run at exit.
extern PendingUpload& uploadfileInfo;
