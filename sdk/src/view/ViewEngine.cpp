#include "view/ViewEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "CLog.h"
#include "CView.h"
#include "cache/BlockCache.h"
#include "image/ImageRegistry.h"
#include "view/FrameComposer.h"
#include "view/RowResampler.h"

namespace PLK {
namespace Engine {

namespace {

// Largest view the engine makes a picture for: bounds the memory one view can take.
constexpr uint64_t kMaxViewPixels = 64ull << 20;
// How many levels coarser than its own a progressive view starts with.
constexpr uint32_t kCoarsePasses = 3;

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

/// The pass a refresh callback on this thread is delivering.
struct ViewEngine::Delivery {
    const ViewEngine* engine;
    const Frame* frame;
    uint64_t generation;
    uint32_t nextLine;
};

thread_local ViewEngine::Delivery* ViewEngine::s_delivery = nullptr;

ViewEngine::ViewEngine(CView& owner) : m_owner(owner) {}

ViewEngine::~ViewEngine()
{
    close(false);
}

CError ViewEngine::open(const std::string& name, bool progressive, bool headerOnly, const OpenSettings& settings)
{
    close(false);
    CError error;
    auto image = ImageRegistry::shared().acquire(name, settings, error);
    if (!image) return error;
    m_image = image;
    m_file.reset(new SDK::CFileBase(image));
    m_name = name;
    m_progressive = progressive && !headerOnly;
    m_headerOnly = headerOnly;
    m_closing = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_transforms.assign(image->description().bands.size(), BandTransform{});
        m_calculated.clear();
        m_viewSet = false;
        m_view = ViewSnapshot{};
        m_cancel = std::make_shared<std::atomic<bool>>(false);
    }
    // Until a view is set there is nothing to decode: a layer whose image lies off the map
    // never sets one, and must not read as "0 %" for ever.
    m_counted = true;
    if (m_progressive) m_worker.reset(new ProgressiveWorker([this](uint64_t g) { runPasses(g); }));
    return CError();
}

CError ViewEngine::close(bool freeCache)
{
    if (!m_image) return CError();
    m_closing = true;
    if (auto cancel = currentCancel()) cancel->store(true);
    if (m_worker) m_worker->stop();
    m_worker.reset();
    std::lock_guard<std::mutex> readLock(m_readMutex);
    m_reader = BlockingReader{};
    const uint64_t id = m_image->id();
    m_file.reset();
    m_image.reset();
    m_name.clear();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_viewSet = false;
        m_view = ViewSnapshot{};
        m_transforms.clear();
        m_calculated.clear();
    }
    m_blocksInView = 0;
    m_blocksAvailable = 0;
    m_counted = false;
    {
        std::lock_guard<std::mutex> lock(m_reportMutex);
        m_reported.clear();
    }
    if (freeCache && !ImageRegistry::shared().stillOpen(id)) BlockCache::shared().dropImage(id);
    return CError();
}

CError ViewEngine::setView(const std::vector<uint32_t>& bands, int width, int height, double x1, double y1, double x2,
                           double y2, const ViewSettings& settings)
{
    if (!m_image) return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
    if (m_headerOnly) return CError(PLK_ERROR_INVALID_ARGUMENT, "This view was opened for its metadata only.");
    const size_t imageBands = m_image->description().bands.size();
    if (bands.empty() || bands.size() > 4)
        return CError(PLK_ERROR_INVALID_BAND,
                      "A view shows 1 to 4 bands; " + std::to_string(bands.size()) + " were asked for.");
    for (uint32_t b : bands)
        if (b >= imageBands)
            return CError(PLK_ERROR_INVALID_BAND, "Band " + std::to_string(b) + " does not exist; the image has " +
                                                      std::to_string(imageBands) + " bands.");
    if (width <= 0 || height <= 0 || uint64_t(width) * uint64_t(height) > kMaxViewPixels)
        return CError(PLK_ERROR_INVALID_ARGUMENT, "A view of " + std::to_string(width) + " x " +
                                                      std::to_string(height) + " pixels cannot be shown.");
    if (!std::isfinite(x1) || !std::isfinite(y1) || !std::isfinite(x2) || !std::isfinite(y2) || x1 == x2 || y1 == y2)
        return CError(PLK_ERROR_INVALID_ARGUMENT, "The view's world rectangle is empty or not a number.");
    // A stream whose connection is lost (or whose image changed on the server) says so here,
    // where the caller can reconnect, rather than in passes that would only fail.
    if (const CError fault = m_image->source()->fault()) return fault;

    uint64_t generation;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_cancel) m_cancel->store(true);  // the pass in flight is stale now
        m_cancel = std::make_shared<std::atomic<bool>>(false);
        m_view.generation += 1;
        m_view.bands = bands;
        m_view.width = static_cast<uint32_t>(width);
        m_view.height = static_cast<uint32_t>(height);
        m_view.x1 = x1;
        m_view.y1 = y1;
        m_view.x2 = x2;
        m_view.y2 = y2;
        m_view.settings = settings;
        m_viewSet = true;
        generation = m_view.generation;
    }
    m_counted = false;
    m_blocksAvailable = 0;
    m_blocksInView = 0;
    // A view beside the image has nothing to decode: complete at once.
    const ViewSnapshot view = snapshot();
    const FrameComposer composer(*m_image, BlockCache::shared());
    if (composer.countBlocks(view, composer.targetLevel(view), nullptr) == 0) m_counted = true;
    if (m_worker) m_worker->wake(generation);
    return CError();
}

PLKSetViewInfo ViewEngine::setViewInfo() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return describe(m_view);
}

bool ViewEngine::isViewSet() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_viewSet;
}

bool ViewEngine::isReadCancelPending() const
{
    if (m_closing.load()) return true;
    const Delivery* d = s_delivery;
    if (!d || d->engine != this) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    return d->generation != m_view.generation;
}

PLKSetViewInfo ViewEngine::describe(const ViewSnapshot& view) const
{
    PLKSetViewInfo info{};
    info.nBands = static_cast<uint32_t>(view.bands.size());
    info.pBandList = view.bands.empty() ? nullptr : const_cast<uint32_t*>(view.bands.data());
    info.nSizeX = view.width;
    info.nSizeY = view.height;
    info.fTopX = view.x1;
    info.fLeftY = view.y1;
    info.fBottomX = view.x2;
    info.fRightY = view.y2;
    info.nBlocksInView = m_blocksInView.load();
    info.nBlocksAvailable = m_blocksAvailable.load();
    return info;
}

ViewSnapshot ViewEngine::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ViewSnapshot s = m_view;
    s.resample = m_parameters.GetResampleMethod();
    s.dither = m_parameters.GetReaderDitherEnabled() || s.settings.textureDither;
    s.autoscaleOpacity = m_parameters.GetAutoscaleOpacitybandUpEnabled();
    s.layers = static_cast<uint32_t>(m_jp2Parameters.GetLayersToDecode());
    s.transforms = m_transforms;
    return s;
}

std::shared_ptr<std::atomic<bool>> ViewEngine::currentCancel() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_cancel;
}

uint8_t ViewEngine::percentComplete() const
{
    if (!m_counted.load()) return 0;  // a new view that the engine has not measured yet
    const uint32_t total = m_blocksInView.load();
    if (total == 0) return 100;  // a view off the image has nothing to decode
    return static_cast<uint8_t>(std::min<uint64_t>(100, uint64_t(m_blocksAvailable.load()) * 100 / total));
}

void ViewEngine::reportOnce(const CError& error)
{
    // Redraws of a damaged image meet the same failure again and again; the log says it once.
    std::lock_guard<std::mutex> lock(m_reportMutex);
    if (m_reported.size() > 256) m_reported.clear();
    if (!m_reported.insert(error.message()).second) return;
    CLog::Log("view", LOG_ERROR, "%s", error.GetErrorText());
}

void ViewEngine::updateCounters(const ViewSnapshot& view, uint32_t level)
{
    uint32_t available = 0;
    const uint32_t total = FrameComposer(*m_image, BlockCache::shared()).countBlocks(view, level, &available);
    m_blocksInView = total;
    m_blocksAvailable = available;
    m_counted = true;
}

// ---- progressive passes -------------------------------------------------------------------

void ViewEngine::runPasses(uint64_t generation)
{
    const ViewSnapshot view = snapshot();
    const auto cancel = currentCancel();
    if (view.generation != generation || cancel->load() || m_closing.load()) return;

    const FrameComposer composer(*m_image, BlockCache::shared());
    const uint32_t target = composer.targetLevel(view);
    updateCounters(view, target);
    const bool complete = m_blocksAvailable.load() == m_blocksInView.load();
    const uint32_t levels = m_image->decoder().levels();
    // Everything decoded already (a pan over seen ground): the final picture is cheap, go
    // straight to it. Otherwise a coarse picture first, then sharper ones.
    uint32_t level = complete ? target : std::min(levels - 1, target + kCoarsePasses);
    if (level != target) composer.announce(view, target);
    for (;; --level) {
        if (level == target) m_blocksAvailable = 0;
        auto onBlocks = [this, level, target](uint32_t n) {
            if (level == target) m_blocksAvailable += n;
        };
        Frame& frame = m_passFrame;  // one frame for every pass: delivered before the next
        const CError error = composer.compose(view, level, cancel, onBlocks, frame);
        if (error.GetErrorNumber() == PLK_ERROR_CANCELLED || cancel->load()) return;
        if (error) reportOnce(error);
        // Every block that can be decoded has been; the others never will be.
        if (level == target) m_blocksAvailable = m_blocksInView.load();
        if (error && m_image->source()->fault()) return;  // a picture with holes is no picture
        const bool last = level == target;
        const unsigned refreshMs = view.settings.refreshTimeMs;
        CLog::Log("view", LOG_DEBUG, "pass at level %u of %u ready (%u of %u blocks)", level, target,
                  m_blocksAvailable.load(), m_blocksInView.load());
        if (last || refreshMs == 0 || nowMs() - m_lastDeliveryMs.load() >= refreshMs) {
            if (!deliver(view, frame)) return;
        }
        if (last) break;
    }
}

bool ViewEngine::deliver(const ViewSnapshot& view, const Frame& frame)
{
    if (m_closing.load()) return false;
    PLKSetViewInfo info = describe(view);

    Delivery delivery{this, &frame, view.generation, 0};
    s_delivery = &delivery;
    const PLKReadStatus status = m_owner.RefreshUpdateEx(&info);
    s_delivery = nullptr;
    m_lastDeliveryMs = nowMs();
    return status != PLK_READ_CANCELLED;
}

// ---- line reading -------------------------------------------------------------------------

PLKReadStatus ViewEngine::prepareBlockingFrame()
{
    if (!m_image) return PLK_READ_FAILED;
    const ViewSnapshot view = snapshot();
    if (view.width == 0) return PLK_READ_FAILED;
    if (m_reader.frame && m_reader.view.samePixels(view)) {
        if (m_reader.nextLine >= m_reader.frame->height) m_reader.nextLine = 0;
        return PLK_READ_OK;
    }
    const FrameComposer composer(*m_image, BlockCache::shared());
    const uint32_t target = composer.targetLevel(view);
    updateCounters(view, target);
    // The last view's frame, when nobody else holds it, takes the new picture: its memory is
    // already in use by this process, where a fresh one would be first touched page by page.
    std::shared_ptr<Frame> frame = std::const_pointer_cast<Frame>(std::move(m_reader.frame));
    if (!frame || frame.use_count() != 1) frame = std::make_shared<Frame>();
    m_blocksAvailable = 0;
    const CError error = composer.compose(
        view, target, currentCancel(), [this](uint32_t n) { m_blocksAvailable += n; }, *frame);
    if (error.GetErrorNumber() == PLK_ERROR_CANCELLED) return PLK_READ_CANCELLED;
    if (error) reportOnce(error);
    m_blocksAvailable = m_blocksInView.load();  // all that can be decoded is
    if (error && m_image->source()->fault()) return PLK_READ_FAILED;
    m_reader.frame = frame;
    m_reader.view = view;
    m_reader.nextLine = 0;
    return PLK_READ_OK;
}

const Frame* ViewEngine::nextLine(uint32_t& line, PLKReadStatus& status)
{
    Delivery* d = s_delivery;
    if (d && d->engine == this) {
        if (d->nextLine >= d->frame->height) d->nextLine = 0;
        line = d->nextLine++;
        status = PLK_READ_OK;
        return d->frame;
    }
    status = prepareBlockingFrame();
    if (status != PLK_READ_OK) return nullptr;
    line = m_reader.nextLine++;
    return m_reader.frame.get();
}

PLKReadStatus ViewEngine::readLineBGRA(uint8_t* out)
{
    if (!out) return PLK_READ_FAILED;
    std::unique_lock<std::mutex> lock(m_readMutex, std::defer_lock);
    if (!(s_delivery && s_delivery->engine == this)) lock.lock();
    uint32_t y = 0;
    PLKReadStatus status;
    const Frame* f = nextLine(y, status);
    if (!f) return status;
    const uint8_t* cover = f->coverageRow(y);
    const uint8_t* p0 = f->row(0, y);
    const uint8_t* p1 = f->bands > 1 ? f->row(1, y) : p0;
    const uint8_t* p2 = f->bands > 2 ? f->row(2, y) : p0;
    const uint8_t* alpha = f->bands == 2 ? p1 : f->bands == 4 ? f->row(3, y) : nullptr;
    const bool grey = f->bands <= 2;
    RowResampler::packBGRA(p0, grey ? p0 : p1, grey ? p0 : p2, alpha, cover, f->width, out);
    return PLK_READ_OK;
}

PLKReadStatus ViewEngine::readLineBIL(uint8_t** lines, PLKCellType type)
{
    if (!lines) return PLK_READ_FAILED;
    if (type != PLK_CELL_UINT8) {
        CLog::Log("view", LOG_WARNING, "Band-interleaved lines are offered as 8-bit cells only.");
        return PLK_READ_FAILED;
    }
    std::unique_lock<std::mutex> lock(m_readMutex, std::defer_lock);
    if (!(s_delivery && s_delivery->engine == this)) lock.lock();
    uint32_t y = 0;
    PLKReadStatus status;
    const Frame* f = nextLine(y, status);
    if (!f) return status;
    const uint8_t* cover = f->coverageRow(y);
    for (uint32_t b = 0; b < f->bands; ++b) {
        if (!lines[b]) continue;
        const uint8_t* src = f->row(b, y);
        for (uint32_t x = 0; x < f->width; ++x) lines[b][x] = cover[x] ? src[x] : 0;
    }
    return PLK_READ_OK;
}

// ---- dynamic range and statistics -----------------------------------------------------------

CError ViewEngine::clearTransforms()
{
    if (!m_image) return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
    std::lock_guard<std::mutex> lock(m_mutex);
    for (BandTransform& t : m_transforms) t.active = false;
    m_calculated.clear();
    return CError();
}

CError ViewEngine::calculateTransforms(uint32_t count, const uint32_t* bands, std::vector<API::CMinMaxTransform*>& out,
                                       double clipPercent)
{
    out.clear();
    if (!m_image) return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
    if (count > 0 && !bands) return CError(PLK_ERROR_INVALID_ARGUMENT, "No band list was given.");
    if (!(clipPercent > 0.0) || clipPercent > 100.0)
        return CError(PLK_ERROR_INVALID_ARGUMENT, "The clip percentage must lie between 0 and 100.");
    std::vector<BandHistogram> histograms;
    const CError error = m_image->histograms(histograms);
    if (error) return error;
    const double tail = (100.0 - clipPercent) / 2.0;
    std::vector<std::unique_ptr<API::CMinMaxTransform>> made;
    for (uint32_t i = 0; i < count; ++i) {
        if (bands[i] >= histograms.size())
            return CError(PLK_ERROR_INVALID_BAND, "Band " + std::to_string(bands[i]) + " does not exist.");
        const BandHistogram& h = histograms[bands[i]];
        const double lo = clipPercent >= 100.0 ? h.minimum() : h.percentile(tail);
        const double hi = clipPercent >= 100.0 ? h.maximum() : h.percentile(100.0 - tail);
        made.emplace_back(new API::CMinMaxTransform(lo, hi));
        out.push_back(made.back().get());
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calculated = std::move(made);
    return CError();
}

CError ViewEngine::setTransform(uint32_t band, const API::CMinMaxTransform* transform)
{
    if (!m_image) return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (band >= m_transforms.size())
        return CError(PLK_ERROR_INVALID_BAND, "Band " + std::to_string(band) + " does not exist.");
    m_transforms[band].active = transform != nullptr;
    if (transform) m_transforms[band].transform = *transform;
    return CError();
}

CError ViewEngine::statistics(PLKFileStatistics*& out)
{
    out = nullptr;
    if (!m_image) return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
    std::vector<BandHistogram> histograms;
    const CError error = m_image->histograms(histograms);
    if (error) return error;
    auto* stats = static_cast<PLKFileStatistics*>(std::calloc(1, sizeof(PLKFileStatistics)));
    stats->nNumberOfBands = static_cast<uint32_t>(histograms.size());
    stats->BandsStats = static_cast<PLKBandStatistics*>(std::calloc(histograms.size() + 1, sizeof(PLKBandStatistics)));
    for (size_t b = 0; b < histograms.size(); ++b) {
        const BandHistogram& h = histograms[b];
        PLKBandStatistics& s = stats->BandsStats[b];
        s.fMode = static_cast<float>(h.mode());
        s.fMinVal = static_cast<float>(h.minimum());
        s.fMaxVal = static_cast<float>(h.maximum());
        s.fMeanVal = static_cast<float>(h.mean());
        s.fMedianVal = static_cast<float>(h.percentile(50.0));
        s.fStandardDev = static_cast<float>(h.standardDeviation());
        s.nHistBucketCount = h.bucketCount();
        s.Histogram = static_cast<uint64_t*>(std::malloc(sizeof(uint64_t) * h.bucketCount()));
        std::memcpy(s.Histogram, h.counts().data(), sizeof(uint64_t) * h.bucketCount());
    }
    out = stats;
    return CError();
}

}  // namespace Engine
}  // namespace PLK
