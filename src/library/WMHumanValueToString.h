#pragma once

#include <QString>

// A short text for a quantity, used in log lines about sizes and speeds.
// Values within ten per cent below a unit already take it (920 -> "0.9K",
// 1e6 -> "1.0M"; units K, M, G, T, P); smaller values keep up to five
// decimals without trailing zeros but always one digit after the point
// (12.5 -> "12.5", 3 -> "3.0").
QString WMHumanValueToString(double value);
