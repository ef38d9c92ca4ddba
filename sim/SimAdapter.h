#pragma once
// The simulated Halden-D2: one adapter with two channels wired to one shared
// bus on which simulated nodes also send. The driver table of
// SimulatedAdapter.cpp and the controls of SimControl.h call into the one
// instance; every member is safe to call from any thread.
//
// Bus model: bus time is the steady clock. Frames wait in the transmit queue
// of their channel, the nodes have due times, a flood is always ready. Each
// time the bus is run (by a transmit or receive call, a waiting caller or the
// bus thread), it replays arbitration frame by frame up to the present: the
// next frame starts when the bus is free and something is ready, the lowest
// arbitration key among everything ready at that moment wins, and the frame
// reaches the receive queues once its end time has passed, stamped with that
// end time. So time stamps are exact bus time however late the replay runs,
// and no more frames pass than the bus carries at the configured rates.

#include "DriverApi.h"
#include "DriverExtension.h"
#include "FilterRowStaging.h"
#include "RingQueue.h"
#include "SimNodes.h"
#include "SimTypes.h"

#include <QString>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class SimAdapter {
public:
    static SimAdapter &instance();
    ~SimAdapter();
    SimAdapter(const SimAdapter &) = delete;
    SimAdapter &operator=(const SimAdapter &) = delete;

    static constexpr size_t kTxQueueFrames = 4096;
    static constexpr size_t kRxQueueRecords = 100000;
    static constexpr size_t kMaxFilterRanges = 64;

    // Driver operations: same arguments and results as the driver table.
    uint32_t openDevice(uint32_t type, uint32_t index);
    uint32_t closeDevice(uint32_t device);
    uint32_t deviceInfo(uint32_t device, DeviceInfoRecord *info);
    uint32_t deviceStatus(uint32_t device);
    uint32_t initChannel(uint32_t device, uint32_t channel, const ChannelInitRecord *record);
    uint32_t startChannel(uint32_t handle);
    uint32_t resetChannel(uint32_t handle);
    uint32_t transmitCan(uint32_t handle, const CanTransmitRecord *records, uint32_t count);
    uint32_t transmitCanFd(uint32_t handle, const CanFdTransmitRecord *records, uint32_t count);
    uint32_t receiveCan(uint32_t handle, CanReceiveRecord *out, uint32_t capacity, int32_t waitMs);
    uint32_t receiveCanFd(uint32_t handle, CanFdReceiveRecord *out, uint32_t capacity, int32_t waitMs);
    bool isOpenDevice(uint32_t device);
    uint32_t setValue(const char *path, const char *value);
    std::string value(const char *path);
    uint32_t updateDevice(uint32_t device);
    uint32_t setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t index);
    uint32_t setDataBaud(uint32_t device, uint32_t channel, uint32_t index);
    uint32_t setCanFdStandard(uint32_t device, uint32_t channel, uint32_t standard);
    uint32_t resetDriver();
    // Extension table (DriverExtension.h).
    uint32_t readBusCounters(uint32_t handle, BusCounters *counters);

    // Controls, see SimControl.h.
    void unplug();
    void replug();
    bool isPlugged();
    void setFirmwareVersion(uint16_t version);
    uint16_t firmwareVersion();
    bool injectCan(unsigned channel, const CanReceiveRecord &record);
    bool injectCanFd(unsigned channel, const CanFdReceiveRecord &record);
    void setNodesEnabled(bool on);
    bool nodesEnabled();
    QString configProblem();
    quint64 droppedFrames(unsigned channel);
    bool injectErrorFrames(unsigned channel, quint32 count);
    bool injectOverflows(unsigned channel, quint32 count);
    quint64 errorFrames(unsigned channel);
    void startFlood(Sim::FloodMode mode, Sim::FloodFrame frame);
    void stopFlood();
    quint64 floodInjected();
    void resetForTests();

private:
    SimAdapter();

    using Range = FilterRowStaging::Range;

    // One frame between its transmit call and its end on the bus; also the
    // scratch form of node and flood frames.
    struct BusFrame {
        int64_t ready; // ns of bus time when it could first start
        uint32_t idWord; // identifier, bit 31 extended, bit 30 remote
        uint8_t length; // bytes on the wire
        bool fd;
        bool bitRateSwitch;
        bool selfReceive;
        uint8_t data[64];
    };

    struct Channel {
        uint32_t handle = 0; // 0 = not initialised
        bool started = false;
        bool listenOnly = false;
        bool classicOnly = false;
        int64_t startNs = 0;
        uint32_t arbitrationIndex = 0;
        uint32_t dataIndex = 0;
        bool customRate = false;
        std::string customText;
        uint32_t fdStandard = 0;
        uint32_t termination = 0;
        std::vector<Range> ranges; // acceptance ranges in force
        FilterRowStaging filterRows { kMaxFilterRanges }; // in force after filter_ack
        RingQueue<BusFrame> tx { kTxQueueFrames };
        RingQueue<CanReceiveRecord> rxCan { kRxQueueRecords };
        RingQueue<CanFdReceiveRecord> rxFd { kRxQueueRecords };
        quint64 dropped = 0; // receive overflows since the start
        quint64 errors = 0; // error frames since the start
    };

    struct NodeClock {
        int64_t due;
        uint32_t sent;
        uint32_t key;
        uint32_t attempts; // for the node's errors = N
    };

    enum class Source { ChannelTx, Node, Flood };

    int64_t nowNs() const;
    std::chrono::steady_clock::time_point timePoint(int64_t ns) const;

    bool deviceOk(uint32_t device) const { return m_open && device != 0 && device == m_device; }
    int channelOf(uint32_t handle) const;
    bool anyStarted() const { return m_ch[0].started || m_ch[1].started; }
    bool canTransmit(int c, bool fd) const;
    void busRates(const Channel &ch, uint32_t &arbitration, uint32_t &data) const;
    const Channel &timingChannel() const;
    bool ratesMatch(const Channel &from, const Channel &to, const BusFrame &frame) const;
    static bool accepts(const Channel &ch, uint32_t idWord);

    template <typename Record> uint32_t transmit(uint32_t handle, const Record *records, uint32_t count, bool fd);
    template <typename Record>
    uint32_t receive(
        uint32_t handle, Record *out, uint32_t capacity, int32_t waitMs, RingQueue<Record> Channel::*queue);
    template <typename Pred> void waitUntil(std::unique_lock<std::mutex> &lock, int64_t deadline, Pred done);

    void runBus(int64_t now);
    void rebaseBus(int64_t now);
    void buildNodeFrame(size_t node, BusFrame &frame) const;
    void buildFloodFrame(uint64_t sequence, BusFrame &frame) const;
    void deliver(const BusFrame &frame, int fromChannel, int64_t end, bool lost = false);
    void offer(int c, const BusFrame &frame, int64_t end, bool lost = false);
    void pushReceived(int c, const BusFrame &frame, int64_t end);
    void dropQueues(Channel &ch);
    void closeLocked();
    void notifyArrived();

    // Threads are started and joined under m_control only, never under m_lock,
    // since they take m_lock themselves.
    void ensureBusThread();
    void stopBusThread();
    void stopFloodThread();
    void busLoop();
    void floodLoop();

    std::mutex m_control;
    std::mutex m_lock;
    std::condition_variable m_arrived; // frames reached a queue, transmit room appeared, state changed
    std::condition_variable m_busWake;
    std::condition_variable m_floodRoom; // a reader took records while the flood was waiting

    const std::chrono::steady_clock::time_point m_epoch;
    bool m_open = false;
    bool m_plugged = true;
    uint32_t m_device = 0;
    uint32_t m_openCount = 0;
    uint32_t m_handleCount = 0;
    uint16_t m_firmware = Sim::kDefaultFirmwareVersion;
    Channel m_ch[2];

    std::vector<SimNode> m_nodes;
    std::vector<NodeClock> m_clocks;
    bool m_nodesOn = true;
    QString m_configProblem;

    int64_t m_busFree = 0; // end of the last frame on the bus
    int64_t m_nextEvent = 0; // when running the bus next changes something
    int64_t m_readerRanBus = INT64_MIN / 2; // when a receive call last ran the bus
    int m_waiters = 0;

    Sim::FloodFrame m_floodFrame = Sim::FloodFrame::CanFdEmpty;
    bool m_floodOnBus = false;
    int64_t m_floodReady = 0;
    uint64_t m_floodSequence = 0;
    bool m_floodWaiting = false;

    std::thread m_busThread;
    bool m_busStop = false;
    std::thread m_floodThread;
    bool m_floodStop = false;
};
