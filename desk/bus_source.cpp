#include "desk/bus_source.h"

#include "desk/drive_buses.h"
#include "desk/host_buses.h"

namespace desk {

namespace {

// What was recorded are signals.
class NoBuses : public BusSource {
  public:
    const std::vector<Bus>& buses() const override { return none_; }
    void begin() override {}
    void read(Duration, std::vector<BusReading>&) override {}

  private:
    const std::vector<Bus> none_{};
};

}  // namespace

std::unique_ptr<BusSource> makeBusSource(const Source& source) {
    switch (source.kind) {
        case Source::Kind::Drive:
            return std::make_unique<DriveBuses>();
        case Source::Kind::Recording:
            return std::make_unique<NoBuses>();
        case Source::Kind::Host:
            break;
    }
    return std::make_unique<HostBuses>();
}

}  // namespace desk
