#include "SimControl.h"

#include "SimAdapter.h"

namespace SimControl {

void unplug() { SimAdapter::instance().unplug(); }

void replug() { SimAdapter::instance().replug(); }

bool isPlugged() { return SimAdapter::instance().isPlugged(); }

void setFirmwareVersion(uint16_t version) { SimAdapter::instance().setFirmwareVersion(version); }

uint16_t firmwareVersion() { return SimAdapter::instance().firmwareVersion(); }

bool injectCan(unsigned channel, const CanReceiveRecord &record)
{
    return SimAdapter::instance().injectCan(channel, record);
}

bool injectCanFd(unsigned channel, const CanFdReceiveRecord &record)
{
    return SimAdapter::instance().injectCanFd(channel, record);
}

void setNodesEnabled(bool on) { SimAdapter::instance().setNodesEnabled(on); }

bool nodesEnabled() { return SimAdapter::instance().nodesEnabled(); }

QString configProblem() { return SimAdapter::instance().configProblem(); }

quint64 droppedFrames(unsigned channel) { return SimAdapter::instance().droppedFrames(channel); }

bool injectErrorFrames(unsigned channel, quint32 count)
{
    return SimAdapter::instance().injectErrorFrames(channel, count);
}

bool injectOverflows(unsigned channel, quint32 count) { return SimAdapter::instance().injectOverflows(channel, count); }

quint64 errorFrames(unsigned channel) { return SimAdapter::instance().errorFrames(channel); }

void startFlood(FloodMode mode, FloodFrame frame) { SimAdapter::instance().startFlood(mode, frame); }

void stopFlood() { SimAdapter::instance().stopFlood(); }

quint64 floodInjected() { return SimAdapter::instance().floodInjected(); }

void resetForTests() { SimAdapter::instance().resetForTests(); }

} // namespace SimControl
