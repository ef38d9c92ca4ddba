#pragma once
// The concrete readers and writers, made by the format factory.

#include "LogReader.h"
#include "LogWriter.h"

#include <memory>

std::unique_ptr<LogReader> makeAscReader();
std::unique_ptr<LogWriter> makeAscWriter();
std::unique_ptr<LogReader> makeBlfReader();
std::unique_ptr<LogWriter> makeBlfWriter();
std::unique_ptr<LogReader> makeTrcReader();
std::unique_ptr<LogWriter> makeTrcWriter();
std::unique_ptr<LogReader> makeCandumpReader();
std::unique_ptr<LogWriter> makeCandumpWriter();
std::unique_ptr<LogReader> makeCsvReader();
std::unique_ptr<LogWriter> makeCsvWriter();

// Time stamps at or after 1990-01-01 are taken as wall-clock time (seconds since
// 1970); smaller ones as time since the start of a measurement.
constexpr qint64 kWallClockFromNs = 631152000LL * 1000000000LL;
