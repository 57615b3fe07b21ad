// Writes an XRV file from strips of cells, top to bottom, in bounded memory: each strip of
// blocks is coded (on several threads), each block's resolution segments go to one spool file
// per resolution, and finish() writes header, metadata, indexes and the spooled data in order.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "xrv/XrvFormat.h"

namespace PLK {
namespace Engine {

struct XrvWriteOptions {
    bool reversible = false;  ///< lossless (5/3); else 9/7 with quantStep
    float quantStep = 1.0f / 256;
    unsigned threads = 1;
    bool measureError = true;  ///< decode every block again to measure the error (PSNR)
};

class XrvWriter {
public:
    /// `header` says size, bands, cell type, colour space, block size and metadata; the writer
    /// fills resolutions, histograms, wavelet and file length itself.
    XrvWriter(std::string path, Xrv::Header header, XrvWriteOptions options);
    ~XrvWriter();
    XrvWriter(const XrvWriter&) = delete;
    XrvWriter& operator=(const XrvWriter&) = delete;

    /// The resolutions per block chosen for a block size.
    static uint32_t resolutionsFor(uint32_t blockWidth, uint32_t blockHeight);

    bool begin(std::string& error);
    /// Adds the next strip: `rows` rows (the block height, fewer for the last strip), one
    /// plane of width x rows values per band.
    bool addStrip(const std::vector<const int32_t*>& planes, uint32_t rows, std::string& error);
    bool finish(std::string& error);

    uint64_t bytesWritten() const { return m_fileBytes; }
    /// Peak signal-to-noise ratio over every cell and band (0 when not measured, 999 when exact).
    double psnr() const;
    const Xrv::Header& header() const { return m_header; }

private:
    struct Coded;
    void codeBlock(const std::vector<const int32_t*>& planes, uint32_t rows, uint32_t column, Coded& out) const;

    std::string m_path;
    Xrv::Header m_header;
    XrvWriteOptions m_options;
    std::vector<std::FILE*> m_spools;
    std::vector<std::vector<uint32_t>> m_lengths;  ///< [resolution][block]
    std::vector<std::vector<uint32_t>> m_crcs;     ///< [resolution][block]
    std::vector<std::vector<uint64_t>> m_counts;   ///< [band][value - type minimum]
    uint32_t m_rowsDone = 0;
    double m_squaredError = 0;
    uint64_t m_samples = 0;
    uint64_t m_fileBytes = 0;
};

}  // namespace Engine
}  // namespace PLK
