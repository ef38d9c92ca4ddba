#pragma once
// The other devices on the simulated bus: periodic senders described in
// config/simulator.ini beside the executable (the file documents its format).

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <vector>

struct SimNode {
    QString name; // section name, for messages only
    uint32_t id = 0; // without flag bits
    bool extended = false;
    bool fd = false;
    bool bitRateSwitch = false;
    bool remote = false;
    uint8_t length = 0; // bytes: 0-8, CAN FD also 12, 16, 20, 24, 32, 48, 64
    uint32_t periodMs = 0;
    uint8_t data[64] = {};
    int counterByte = -1; // data byte that counts up with every frame, -1 = none
    uint32_t errorEvery = 0; // every n-th attempt ends in an error frame and is sent again; 0 = never
    uint32_t overflowEvery = 0; // every n-th frame is lost in the receivers' full queues; 0 = never

    uint32_t idWord() const;
    bool operator==(const SimNode &other) const;
};

namespace SimNodes {

constexpr int kMaxNodes = 64;

// The nodes used when the file is missing or unusable; the shipped file
// describes the same ones.
std::vector<SimNode> defaults();

// Reads the whole text; on the first problem returns false and a short reason
// that names the line or the node.
bool parse(const QByteArray &text, std::vector<SimNode> &nodes, QString &problem);

// Reads the file. A missing or malformed file gives the default nodes and a
// one-line description of what was wrong; problem is empty otherwise.
std::vector<SimNode> load(const QString &path, QString &problem);

} // namespace SimNodes
