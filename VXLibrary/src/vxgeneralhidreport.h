// The kinds of report that the program sends.
#pragma once

/// Every value other than that of a feature report acts as an output report.
enum VXGeneralHidReport
{
    VXHidFeature = 0,
    VXHidOutput = 2
};
