#include "jp2/OpjCodestreamDecoder.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <cstring>
#include <string>

namespace PLK {
namespace Engine {

namespace {

struct MemoryStream {
    const uint8_t* data;
    size_t size;
    size_t pos;
};

OPJ_SIZE_T readBytes(void* buffer, OPJ_SIZE_T count, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    const size_t n = std::min(count, s->size - s->pos);
    if (n == 0) return static_cast<OPJ_SIZE_T>(-1);  // OpenJPEG's end-of-stream
    std::memcpy(buffer, s->data + s->pos, n);
    s->pos += n;
    return n;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    if (count < 0) {
        const size_t back = std::min(static_cast<size_t>(-count), s->pos);
        s->pos -= back;
        return -static_cast<OPJ_OFF_T>(back);
    }
    const size_t n = std::min(static_cast<size_t>(count), s->size - s->pos);
    if (n == 0 && count > 0) return -1;  // at the end: never report progress that is not made
    s->pos += n;
    return static_cast<OPJ_OFF_T>(n);
}

OPJ_BOOL seekTo(OPJ_OFF_T offset, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    if (offset < 0 || static_cast<uint64_t>(offset) > s->size) return OPJ_FALSE;
    s->pos = static_cast<size_t>(offset);
    return OPJ_TRUE;
}

// OpenJPEG reports through callbacks; its errors, or failing those its first warning, become
// the message the user sees.
struct Messages {
    std::string errors;
    std::string firstWarning;
};

std::string oneLine(const char* message)
{
    std::string line(message ? message : "");
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return line;
}

void collectError(const char* message, void* user)
{
    auto* m = static_cast<Messages*>(user);
    const std::string line = oneLine(message);
    if (line.empty() || m->errors.size() > 1000) return;
    if (!m->errors.empty()) m->errors += "; ";
    m->errors += line;
}

void collectWarning(const char* message, void* user)
{
    auto* m = static_cast<Messages*>(user);
    if (m->firstWarning.empty()) m->firstWarning = oneLine(message);
}

void ignoreMessage(const char*, void*) {}

struct CodecDeleter {
    void operator()(opj_codec_t* c) const { opj_destroy_codec(c); }
};
struct StreamDeleter {
    void operator()(opj_stream_t* s) const { opj_stream_destroy(s); }
};

CError failure(const Messages& messages, const char* fallback)
{
    const std::string& text = !messages.errors.empty() ? messages.errors : messages.firstWarning;
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, text.empty() ? fallback : text);
}

// Decodes in flight share one budget: each reserves what it may need before OpenJPEG starts
// and waits while the others hold too much of it.
class DecodeBudget {
public:
    static DecodeBudget& shared()
    {
        static DecodeBudget budget;
        return budget;
    }
    void reserve(uint64_t bytes)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_freed.wait(lock, [&] { return m_inUse + bytes <= OpjCodestreamDecoder::kDecodeBudget; });
        m_inUse += bytes;
    }
    void release(uint64_t bytes)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_inUse -= bytes;
        }
        m_freed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    uint64_t m_inUse = 0;
};

struct BudgetReservation {
    explicit BudgetReservation(uint64_t bytes) : bytes(bytes) { DecodeBudget::shared().reserve(bytes); }
    ~BudgetReservation() { DecodeBudget::shared().release(bytes); }
    uint64_t bytes;
};

std::string megabytes(uint64_t bytes)
{
    return std::to_string((bytes + (1u << 20) - 1) >> 20) + " MB";
}

}  // namespace

uint64_t OpjCodestreamDecoder::memoryNeeded(const std::vector<uint8_t>& codestream, const Request& request)
{
    CodestreamHeader header;
    if (header.parse(codestream.data(), codestream.size(), true)) return UINT64_MAX;
    header.mergeTilePartCoding(codestream.data(), codestream.size());
    GridRect area = request.area;
    if (request.wholeImage) area = {header.xosiz, header.yosiz, header.xsiz, header.ysiz};
    // The compressed bytes are copied once more into the code-blocks' own buffers.
    return header.decodeMemory(request.reduce, area) + 2 * uint64_t(codestream.size());
}

CError OpjCodestreamDecoder::decode(const std::vector<uint8_t>& codestream, const Request& request, OpjImage& image)
{
    // OpenJPEG sizes its structures by the tile's declared size, not by the bytes there are:
    // a few bytes can claim gigabytes. What the budget cannot hold is not started.
    const uint64_t needed = memoryNeeded(codestream, request);
    if (needed > kDecodeBudget)
        return CError(PLK_ERROR_OUT_OF_MEMORY,
                      needed == UINT64_MAX ? std::string("its header cannot be read")
                                           : "decoding it would take " + megabytes(needed) + ", more than the " +
                                                 megabytes(kDecodeBudget) + " a decode may use");
    const BudgetReservation reservation(needed);

    MemoryStream memory{codestream.data(), codestream.size(), 0};
    const size_t chunk = std::clamp<size_t>(codestream.size(), 4096, 1u << 20);
    std::unique_ptr<opj_stream_t, StreamDeleter> stream(opj_stream_create(chunk, OPJ_TRUE));
    std::unique_ptr<opj_codec_t, CodecDeleter> codec(opj_create_decompress(OPJ_CODEC_J2K));
    if (!stream || !codec) return CError(PLK_ERROR_OUT_OF_MEMORY, "OpenJPEG could not start");
    opj_stream_set_user_data(stream.get(), &memory, nullptr);
    opj_stream_set_user_data_length(stream.get(), codestream.size());
    opj_stream_set_read_function(stream.get(), readBytes);
    opj_stream_set_skip_function(stream.get(), skipBytes);
    opj_stream_set_seek_function(stream.get(), seekTo);

    Messages messages;
    opj_set_error_handler(codec.get(), collectError, &messages);
    opj_set_warning_handler(codec.get(), collectWarning, &messages);
    opj_set_info_handler(codec.get(), ignoreMessage, nullptr);

    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = request.reduce;
    parameters.cp_layer = request.layers;
    if (!opj_setup_decoder(codec.get(), &parameters)) return failure(messages, "the decoder cannot be set up");
    // Never OpenJPEG's lenient mode: in 2.5.0 it reads memory it does not own on damaged data
    // (opj_decompress -allow-partial shows it under valgrind). Resilient decodes get their
    // leniency from the code-stream they are handed instead (see TileCodestream).
    opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE);
    // Parallelism comes mostly from decoding several tiles at once; a view that touches fewer
    // tiles than there are cores also splits a tile's code-blocks over OpenJPEG's own threads.
    // Zero keeps the decode in the calling thread; one would start a worker thread per decode.
    opj_codec_set_threads(codec.get(), request.threads > 1 ? static_cast<int>(request.threads) : 0);

    opj_image_t* raw = nullptr;
    if (!opj_read_header(stream.get(), codec.get(), &raw)) {
        opj_image_destroy(raw);
        return failure(messages, "its header cannot be read");
    }
    image.reset(raw);
    const GridRect& a = request.area;
    if (!request.wholeImage &&
        !opj_set_decode_area(codec.get(), image.get(), static_cast<OPJ_INT32>(a.x0), static_cast<OPJ_INT32>(a.y0),
                             static_cast<OPJ_INT32>(a.x1), static_cast<OPJ_INT32>(a.y1)))
        return failure(messages, "the region cannot be set");
    if (!opj_decode(codec.get(), stream.get(), image.get()) || !opj_end_decompress(codec.get(), stream.get()))
        return failure(messages, "OpenJPEG could not decode it");
    for (OPJ_UINT32 i = 0; i < image->numcomps; ++i)
        if (!image->comps[i].data && image->comps[i].w && image->comps[i].h)
            return failure(messages, "a component was not decoded");
    return {};
}

}  // namespace Engine
}  // namespace PLK
