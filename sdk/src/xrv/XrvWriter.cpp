#include "xrv/XrvWriter.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "xrv/HtBlockCodec.h"

namespace PLK {
namespace Engine {

struct XrvWriter::Coded {
    HtEncodedBlock block;
    std::string error;
    double squaredError = 0;
};

namespace {

bool sameBits(const Xrv::Header& h)
{
    for (const Xrv::Band& b : h.bands)
        if (b.bits != h.bands[0].bits || b.isSigned != h.bands[0].isSigned) return false;
    return true;
}

int64_t typeMinimum(const Xrv::Band& b)
{
    return b.isSigned ? -(int64_t(1) << (b.bits - 1)) : 0;
}

}  // namespace

XrvWriter::XrvWriter(std::string path, Xrv::Header header, XrvWriteOptions options)
    : m_path(std::move(path)), m_header(std::move(header)), m_options(options)
{
    m_header.resolutions = resolutionsFor(m_header.blockWidth, m_header.blockHeight);
    m_header.reversible = m_options.reversible;
}

XrvWriter::~XrvWriter()
{
    for (std::FILE* f : m_spools)
        if (f) std::fclose(f);
}

uint32_t XrvWriter::resolutionsFor(uint32_t blockWidth, uint32_t blockHeight)
{
    // Down to blocks of about 8 x 8 cells at the coarsest level, and the block size must
    // halve exactly at every level so that block edges fall on cells at every level.
    const uint32_t side = std::min(blockWidth, blockHeight);
    uint32_t d = 0;
    while ((side >> (d + 1)) >= 8 && ((blockWidth | blockHeight) & ((2u << d) - 1)) == 0 &&
           d + 1 < Xrv::kMaxResolutions)
        ++d;
    return d + 1;
}

bool XrvWriter::begin(std::string& error)
{
    const Xrv::Header& h = m_header;
    if (h.width == 0 || h.height == 0 || h.bands.empty() || h.bands.size() > Xrv::kMaxBands) {
        error = "the image has no cells or no bands";
        return false;
    }
    if (h.blockWidth < 64 || h.blockHeight < 64 || h.blockWidth > Xrv::kMaxBlockSide ||
        h.blockHeight > Xrv::kMaxBlockSide || h.blockWidth % 8 || h.blockHeight % 8) {
        error = "the block size must be a multiple of 8 from 64 to 8192";
        return false;
    }
    for (const Xrv::Band& b : h.bands)
        if (b.bits == 0 || b.bits > 16) {
            error = "XRV stores 1- to 16-bit cells only";
            return false;
        }
    m_spools.assign(h.resolutions, nullptr);
    for (std::FILE*& f : m_spools)
        if (!(f = std::tmpfile())) {
            error = "no temporary file can be made for the coded blocks";
            return false;
        }
    m_lengths.assign(h.resolutions, {});
    m_crcs.assign(h.resolutions, {});
    m_counts.clear();
    for (const Xrv::Band& b : h.bands) m_counts.emplace_back(size_t(1) << b.bits, 0);
    return true;
}

void XrvWriter::codeBlock(const std::vector<const int32_t*>& planes, uint32_t rows, uint32_t column, Coded& out) const
{
    const Xrv::Header& h = m_header;
    const uint32_t x0 = column * h.blockWidth;
    const uint32_t w = std::min(h.blockWidth, h.width - x0);
    std::vector<std::vector<int32_t>> cells(h.bands.size(), std::vector<int32_t>(size_t(w) * rows));
    std::vector<const int32_t*> pointers;
    for (size_t b = 0; b < h.bands.size(); ++b) {
        for (uint32_t y = 0; y < rows; ++y)
            std::copy(planes[b] + size_t(y) * h.width + x0, planes[b] + size_t(y) * h.width + x0 + w,
                      cells[b].begin() + size_t(y) * w);
        pointers.push_back(cells[b].data());
    }
    HtBlockParams p;
    p.width = w;
    p.height = rows;
    p.components = static_cast<uint32_t>(h.bands.size());
    p.bits = h.bands[0].bits;
    for (const Xrv::Band& b : h.bands) p.bits = std::max(p.bits, b.bits);
    p.isSigned = h.bands[0].isSigned;
    p.decompositions = h.resolutions - 1;
    p.reversible = m_options.reversible;
    p.quantStep = m_options.quantStep;
    p.colourTransform = h.colourSpace == PLK_COLOR_SRGB && h.bands.size() >= 3 && sameBits(h);
    if (!HtBlockCodec::encode(p, pointers, out.block, out.error)) return;
    if (!m_options.measureError || m_options.reversible) return;
    std::vector<std::vector<int32_t>> decoded;
    uint32_t dw = 0, dh = 0;
    std::string why;
    if (!HtBlockCodec::decode(out.block.bytes.data(), out.block.bytes.size(), 0, false,
                              {w, rows, static_cast<uint32_t>(h.bands.size())}, decoded, dw, dh, why)) {
        out.error = "a coded block does not decode: " + why;
        return;
    }
    for (size_t b = 0; b < cells.size(); ++b)
        for (size_t i = 0; i < cells[b].size(); ++i) {
            const double d = double(decoded[b][i]) - double(cells[b][i]);
            out.squaredError += d * d;
        }
}

bool XrvWriter::addStrip(const std::vector<const int32_t*>& planes, uint32_t rows, std::string& error)
{
    const Xrv::Header& h = m_header;
    if (planes.size() != h.bands.size() || rows == 0 || rows > h.blockHeight || m_rowsDone + rows > h.height ||
        (rows < h.blockHeight && m_rowsDone + rows != h.height)) {
        error = "a strip does not fit the image";
        return false;
    }
    for (size_t b = 0; b < h.bands.size(); ++b) {
        const int64_t lo = typeMinimum(h.bands[b]);
        const int64_t last = static_cast<int64_t>(m_counts[b].size()) - 1;
        uint64_t* counts = m_counts[b].data();
        const int32_t* v = planes[b];
        for (size_t i = 0, n = size_t(h.width) * rows; i < n; ++i)
            ++counts[std::min<int64_t>(std::max<int64_t>(int64_t(v[i]) - lo, 0), last)];
    }

    const uint32_t across = h.blocksAcross();
    std::vector<Coded> coded(across);
    std::atomic<uint32_t> next{0};
    const auto work = [&] {
        for (uint32_t c; (c = next.fetch_add(1)) < across;) codeBlock(planes, rows, c, coded[c]);
    };
    const unsigned threads = std::max(1u, std::min(m_options.threads, across));
    std::vector<std::thread> pool;
    for (unsigned t = 1; t < threads; ++t) pool.emplace_back(work);
    work();
    for (std::thread& t : pool) t.join();

    for (Coded& c : coded) {
        if (!c.error.empty()) {
            error = c.error;
            return false;
        }
        m_squaredError += c.squaredError;
        uint32_t start = 0;
        for (uint32_t r = 0; r < h.resolutions; ++r) {
            const uint32_t end = c.block.resolutionEnds[r];
            const size_t n = end - start;
            if (n && std::fwrite(c.block.bytes.data() + start, 1, n, m_spools[r]) != n) {
                error = "the temporary file of coded blocks cannot be written (disk full?)";
                return false;
            }
            m_lengths[r].push_back(static_cast<uint32_t>(n));
            m_crcs[r].push_back(Xrv::crc32(c.block.bytes.data() + start, n));
            start = end;
        }
    }
    m_samples += uint64_t(h.width) * rows * h.bands.size();
    m_rowsDone += rows;
    return true;
}

double XrvWriter::psnr() const
{
    if (m_options.reversible) return 999.0;
    if (!m_options.measureError || m_samples == 0) return 0.0;
    const double mse = m_squaredError / double(m_samples);
    uint32_t bits = 1;
    for (const Xrv::Band& b : m_header.bands) bits = std::max<uint32_t>(bits, b.bits);
    const double peak = double((uint64_t(1) << bits) - 1);
    return mse > 0 ? 10.0 * std::log10(peak * peak / mse) : 999.0;
}

bool XrvWriter::finish(std::string& error)
{
    Xrv::Header& h = m_header;
    if (m_rowsDone != h.height) {
        error = "the image was not given in full";
        return false;
    }
    h.histograms.clear();
    for (const std::vector<uint64_t>& counts : m_counts) {
        Xrv::SparseHistogram s;
        s.buckets = static_cast<uint32_t>(counts.size());
        for (size_t i = 0; i < counts.size(); ++i)
            if (counts[i]) s.counts.emplace_back(static_cast<uint32_t>(i), counts[i]);
        h.histograms.push_back(std::move(s));
    }
    if (!m_options.reversible) h.psnr = static_cast<float>(psnr());

    // Layout: head, then every resolution's index (coarsest first), then every resolution's
    // data (coarsest first).
    const uint64_t blocks = h.blockCount();
    std::vector<Xrv::LevelEntry> levels(h.resolutions);
    std::vector<std::vector<uint8_t>> indexes(h.resolutions);
    uint64_t at = Xrv::headBytes(h);
    for (uint32_t r = 0; r < h.resolutions; ++r) {
        std::vector<uint8_t>& bytes = indexes[r];
        for (size_t b = 0; b < m_lengths[r].size(); ++b)
            for (uint32_t v : {m_lengths[r][b], m_crcs[r][b]})
                for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
        levels[r].indexOffset = at;
        levels[r].indexLength = static_cast<uint32_t>(blocks * Xrv::kIndexEntryBytes);
        levels[r].indexCrc = Xrv::crc32(bytes.data(), bytes.size());
        at += bytes.size();
    }
    for (uint32_t r = 0; r < h.resolutions; ++r) {
        levels[r].dataOffset = at;
        uint64_t total = 0;
        for (uint32_t n : m_lengths[r]) total += n;
        levels[r].dataLength = total;
        at += total;
    }
    h.fileLength = at;
    const std::vector<uint8_t> head = Xrv::writeHead(h, levels);

    std::FILE* out = std::fopen(m_path.c_str(), "wb");
    if (!out) {
        error = "'" + m_path + "' cannot be written";
        return false;
    }
    bool ok = std::fwrite(head.data(), 1, head.size(), out) == head.size();
    for (const auto& bytes : indexes) ok = ok && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    std::vector<char> buffer(1 << 20);
    for (std::FILE* spool : m_spools) {
        std::rewind(spool);
        size_t n;
        while (ok && (n = std::fread(buffer.data(), 1, buffer.size(), spool)) > 0)
            ok = std::fwrite(buffer.data(), 1, n, out) == n;
    }
    ok = std::fclose(out) == 0 && ok;
    if (!ok) {
        error = "'" + m_path + "' cannot be written (disk full?)";
        std::remove(m_path.c_str());
        return false;
    }
    m_fileBytes = at;
    return true;
}

}  // namespace Engine
}  // namespace PLK
