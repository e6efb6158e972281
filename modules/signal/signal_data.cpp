#include "modules/signal/signal_data.h"

#include <ostream>

SignalData::SignalData(std::uint64_t timestamp_, const std::string& webappName_,
                       const std::string& instanceName_, const std::string& mac,
                       const std::string& unit_, const std::string& value_, std::uint64_t raw_,
                       double phys_, const std::string& descr_,
                       const std::map<std::uint64_t, std::string>& valueDescriptionTable_,
                       const std::string& userName_, busid_t busId_, std::uint8_t channel_,
                       std::uint8_t kslOffset_, signalValue_t valueType_, double scale_,
                       double offset_, bool active_, bool valid_, std::uint32_t interval_)
    : timestamp(timestamp_),
      webappName(webappName_),
      instanceName(instanceName_),
      MAC(mac),
      unit(unit_),
      value(value_),
      raw(raw_),
      phys(phys_),
      descr(descr_),
      valueDescriptionTable(valueDescriptionTable_),
      userName(userName_),
      busId(busId_),
      channel(channel_),
      kslOffset(kslOffset_),
      valueType(valueType_),
      scale(scale_),
      offset(offset_),
      active(active_),
      valid(valid_),
      interval(interval_) {}

std::ostream& operator<<(std::ostream& out, const SignalKey& key) {
    return out << "  key      | [name=" << key.first << "] [MAC=" << key.second << "]";
}

std::ostream& operator<<(std::ostream& out, const SignalData& signal) {
    out << "  SIGNAL      | [instanceName=" << signal.instanceName
        << "] [webappName=" << signal.webappName << "] [MAC=" << signal.MAC
        << "] [unit=" << signal.unit << "] [value=" << signal.value << "] [raw=" << signal.raw
        << "] [phys=" << signal.phys << "] [descr=" << signal.descr
        << "] [userName=" << signal.userName << "] [busId=" << signal.busId
        << "] [channel=" << signal.channel << "] [kslOffset=" << signal.kslOffset
        << "] [valueType=" << signal.valueType << "] [scale=" << signal.scale
        << "] [offset=" << signal.offset << "] [valueDescriptionTable= ";
    for (const auto& [raw, text] : signal.valueDescriptionTable) {
        out << "[value=" << raw << "] [valueDescription=" << text << "]";
    }
    return out << "] [active=" << signal.active << "] [valid=" << signal.valid
               << "] [interval=" << signal.interval << "]";
}
