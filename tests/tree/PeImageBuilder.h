#pragma once

#include <cstdint>

#include <QByteArray>

// A minimal Windows program image with a version resource, laid out as a linker would: DOS header, PE
// headers, one ".rsrc" section holding the three-level resource directory and a VS_VERSIONINFO block.
struct PeImageSpec
{
    bool b64Bit = false;
    bool bWithVersion = true;
    std::uint16_t version[4] = { 1, 2, 3, 4 };
};

QByteArray BuildPeImage(const PeImageSpec& spec);
