#pragma once
// Wire records and entry points of the adapter's driver library (Kestrix.dll).
// Every record is little-endian and packed exactly as the driver lays it out.

#include <cstddef>
#include <cstdint>

#if defined(_WIN32) && !defined(_WIN64)
#define KX_CALL __stdcall
#else
#define KX_CALL
#endif

#pragma pack(push, 1)

struct ChannelInitRecord {
    uint32_t channelType; // always 1: CAN FD
    uint8_t reserved0[15];
    uint8_t workMode; // offset 19
    uint8_t reserved1[5];
    uint8_t workModeCopy; // offset 25, the driver reads both copies
    uint8_t reserved2[6];
};

struct CanTransmitRecord {
    uint32_t id; // identifier word, see makeFrameId
    uint8_t length; // at most 8
    uint8_t reserved[3];
    uint8_t data[8];
    uint32_t transmitType;
};

struct CanFdTransmitRecord {
    uint32_t id;
    uint8_t length; // at most 64
    uint8_t flags; // 1 = bit-rate switch
    uint8_t reserved[2];
    uint8_t data[64];
    uint32_t transmitType;
};

struct CanReceiveRecord {
    uint32_t id;
    uint8_t length;
    uint8_t reserved[3];
    uint8_t data[8];
    uint64_t timestamp; // microseconds since the channel started
};

struct CanFdReceiveRecord {
    uint32_t id;
    uint8_t length;
    uint8_t flags;
    uint8_t reserved[2];
    uint8_t data[64];
    uint64_t timestamp;
};

struct DeviceInfoRecord {
    uint16_t hwVersion; // 0
    uint16_t fwVersion; // 2
    uint16_t drVersion; // 4
    uint16_t inVersion; // 6
    uint16_t irqNum; // 8
    uint8_t canNum; // 10
    char serialNumber[20]; // 11, not necessarily terminated
    char hwType[40]; // 31, zero-terminated
    uint8_t reserved[9]; // 71
};

#pragma pack(pop)

static_assert(sizeof(ChannelInitRecord) == 32, "init record is 32 bytes");
static_assert(offsetof(ChannelInitRecord, workMode) == 19, "work mode copy 1 at 19");
static_assert(offsetof(ChannelInitRecord, workModeCopy) == 25, "work mode copy 2 at 25");
static_assert(sizeof(CanTransmitRecord) == 20, "classic transmit record is 20 bytes");
static_assert(offsetof(CanTransmitRecord, data) == 8, "classic data at 8");
static_assert(offsetof(CanTransmitRecord, transmitType) == 16, "classic transmit type at 16");
static_assert(sizeof(CanFdTransmitRecord) == 76, "FD transmit record is 76 bytes");
static_assert(offsetof(CanFdTransmitRecord, flags) == 5, "FD flags at 5");
static_assert(offsetof(CanFdTransmitRecord, data) == 8, "FD data at 8");
static_assert(offsetof(CanFdTransmitRecord, transmitType) == 72, "FD transmit type at 72");
static_assert(sizeof(CanReceiveRecord) == 24, "classic receive record is 24 bytes");
static_assert(offsetof(CanReceiveRecord, timestamp) == 16, "classic time stamp at 16");
static_assert(sizeof(CanFdReceiveRecord) == 80, "FD receive record is 80 bytes");
static_assert(offsetof(CanFdReceiveRecord, timestamp) == 72, "FD time stamp at 72");
static_assert(sizeof(DeviceInfoRecord) == 80, "device info record is 80 bytes");
static_assert(offsetof(DeviceInfoRecord, fwVersion) == 2, "firmware version at 2");
static_assert(offsetof(DeviceInfoRecord, drVersion) == 4, "driver version at 4");
static_assert(offsetof(DeviceInfoRecord, canNum) == 10, "channel count at 10");
static_assert(offsetof(DeviceInfoRecord, serialNumber) == 11, "serial number at 11");
static_assert(offsetof(DeviceInfoRecord, hwType) == 31, "hardware type at 31");

// The driver's property interface: a table of entry points of which only the
// first, SetValue(path, value), is used. Both strings are 8-bit, zero-terminated.
struct PropertyInterface {
    uint32_t(KX_CALL *SetValue)(const char *path, const char *value);
    const char *(KX_CALL *GetValue)(const char *path);
};

// The 17 operations of the driver, in ordinal order (1-7, 12-16, 32-35, 64).
struct KestrixDriver {
    uint32_t(KX_CALL *OpenDevice)(uint32_t type, uint32_t index, uint32_t reserved); // 1
    uint32_t(KX_CALL *CloseDevice)(uint32_t device); // 2
    uint32_t(KX_CALL *GetDeviceInfo)(uint32_t device, DeviceInfoRecord *info); // 3
    uint32_t(KX_CALL *GetDeviceStatus)(uint32_t device); // 4
    uint32_t(KX_CALL *InitChannel)(uint32_t device, uint32_t channel, ChannelInitRecord *); // 5
    uint32_t(KX_CALL *StartChannel)(uint32_t channelHandle); // 6
    uint32_t(KX_CALL *ResetChannel)(uint32_t channelHandle); // 7
    uint32_t(KX_CALL *TransmitCan)(uint32_t channelHandle, CanTransmitRecord *, uint32_t count); // 12
    uint32_t(KX_CALL *ReceiveCan)(uint32_t channelHandle, CanReceiveRecord *, uint32_t cap, int32_t waitMs); // 13
    uint32_t(KX_CALL *TransmitCanFd)(uint32_t channelHandle, CanFdTransmitRecord *, uint32_t count); // 14
    uint32_t(KX_CALL *ReceiveCanFd)(uint32_t channelHandle, CanFdReceiveRecord *, uint32_t cap, int32_t waitMs); // 15
    PropertyInterface *(KX_CALL *GetPropertyInterface)(uint32_t device); // 16
    uint32_t(KX_CALL *UpdateDevice)(uint32_t device); // 32
    uint32_t(KX_CALL *SetArbitrationBaud)(uint32_t device, uint32_t channel, uint32_t value); // 33
    uint32_t(KX_CALL *SetDataBaud)(uint32_t device, uint32_t channel, uint32_t value); // 34
    uint32_t(KX_CALL *SetCanFdStandard)(uint32_t device, uint32_t channel, uint32_t value); // 35
    uint32_t(KX_CALL *ResetDriver)(); // 64
};

// The ordinal of each entry of KestrixDriver, in field order.
constexpr int kDriverOrdinals[17] = { 1, 2, 3, 4, 5, 6, 7, 12, 13, 14, 15, 16, 32, 33, 34, 35, 64 };
