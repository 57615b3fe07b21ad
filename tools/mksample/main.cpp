// mksample: makes the sample JPEG 2000 image bundled with the viewer, and larger
// benchmark images with the same look.
//
//   mksample OUT.jp2 [--size WxH] [--tile N] [--levels N] [--layers N] [--rate R]
//                    [--bands 1|3|4] [--bits 8|16] [--epsg CODE] [--origin X,Y]
//                    [--cell SIZE] [--no-georef] [--threads N] [--progression ORDER]
//                    [--xrv OUT.xrv]   (the same image also as XRV)

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Jp2Wrapper.h"
#include "TextureGenerator.h"
#include "TiledJ2kEncoder.h"
#include "XrvSample.h"

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string output;
    RasterFormat format;
    J2kCodingParameters coding;
    Georeference georeference;
    bool georeferenced = true;
    std::string xrvOutput;
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const char* const kUsage =
    "usage: mksample OUT.jp2 [--size WxH] [--tile N] [--levels N] [--layers N] [--rate R]\n"
    "                [--bands 1|3|4] [--bits 8|16] [--epsg CODE] [--origin X,Y] [--cell SIZE]\n"
    "                [--no-georef] [--threads N] [--progression RPCL|LRCP|RLCP|PCRL|CPRL] [--xrv OUT.xrv]\n"
    "defaults: 8192x8192, RGB, 8 bits, 512 px tiles, 6 levels, 4 layers down to 10:1, RPCL,\n"
    "          EPSG 32633 at 500000,5300000 with 2 m cells\n";

// Reads "A<sep>B" as two numbers, rejecting anything left over.
template <typename T>
void parsePair(const std::string& text, char sep, T& a, T& b, const std::string& option)
{
    std::istringstream in(text);
    char s = 0;
    if (!(in >> a >> s >> b) || s != sep || !(in >> std::ws).eof())
        throw UsageError("bad value for " + option + ": " + text);
}

template <typename T>
T parseNumber(const std::string& text, const std::string& option)
{
    std::istringstream in(text);
    T value{};
    if (!(in >> value) || !(in >> std::ws).eof()) throw UsageError("bad value for " + option + ": " + text);
    return value;
}

void applyOption(Options& o, const std::string& name, const std::string& value)
{
    if (name == "--size")
        parsePair(value, 'x', o.format.width, o.format.height, name);
    else if (name == "--tile")
        o.coding.tileSize = parseNumber<int>(value, name);
    else if (name == "--levels")
        o.coding.levels = parseNumber<int>(value, name);
    else if (name == "--layers")
        o.coding.layers = parseNumber<int>(value, name);
    else if (name == "--rate")
        o.coding.rate = parseNumber<double>(value, name);
    else if (name == "--bands")
        o.format.bands = parseNumber<int>(value, name);
    else if (name == "--bits")
        o.format.bits = parseNumber<int>(value, name);
    else if (name == "--epsg")
        o.georeference.epsg = parseNumber<int>(value, name);
    else if (name == "--origin")
        parsePair(value, ',', o.georeference.originX, o.georeference.originY, name);
    else if (name == "--cell")
        o.georeference.cell = parseNumber<double>(value, name);
    else if (name == "--threads")
        o.coding.threads = parseNumber<int>(value, name);
    else if (name == "--progression")
        o.coding.progression = value;
    else if (name == "--xrv")
        o.xrvOutput = value;
    else
        throw UsageError("unknown option " + name);
}

void validate(const Options& o)
{
    const RasterFormat& f = o.format;
    const J2kCodingParameters& c = o.coding;
    if (o.output.empty()) throw UsageError("no output file given");
    if (f.width < 1 || f.height < 1) throw UsageError("the size must be positive");
    if (f.bands != 1 && f.bands != 3 && f.bands != 4) throw UsageError("--bands must be 1, 3 or 4");
    if (f.bits != 8 && f.bits != 16) throw UsageError("--bits must be 8 or 16");
    if (c.levels < 1 || c.levels > 32) throw UsageError("--levels must be 1 .. 32");
    // Every level must keep at least one sample of a tile.
    if (c.tileSize < 1 || (c.tileSize >> (c.levels - 1)) < 1) throw UsageError("--tile is too small for --levels");
    if (c.layers < 1 || c.layers > 20) throw UsageError("--layers must be 1 .. 20");
    if (!(c.rate >= 1.0)) throw UsageError("--rate must be at least 1 (n:1)");
    if (c.threads < 1) throw UsageError("--threads must be at least 1");
    if (!TiledJ2kEncoder::isProgressionName(c.progression)) throw UsageError("unknown progression " + c.progression);
    if (!(o.georeference.cell > 0.0)) throw UsageError("--cell must be positive");
}

Options parseOptions(int argc, char** argv)
{
    Options o;
    o.coding.threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") throw UsageError("");
        if (arg == "--no-georef") {
            o.georeferenced = false;
        } else if (arg.rfind("--", 0) == 0) {
            const size_t eq = arg.find('=');
            if (eq != std::string::npos)
                applyOption(o, arg.substr(0, eq), arg.substr(eq + 1));
            else if (i + 1 < argc)
                applyOption(o, arg, argv[++i]);
            else
                throw UsageError("missing value for " + arg);
        } else if (o.output.empty()) {
            o.output = arg;
        } else {
            throw UsageError("more than one output file given");
        }
    }
    validate(o);
    return o;
}

std::string describeXml(const Options& o)
{
    const RasterFormat& f = o.format;
    const J2kCodingParameters& c = o.coding;
    std::ostringstream x;
    x.precision(12);  // coordinates in full, not as 5.3e+06
    x << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<SampleImage generator=\"mksample\">\n"
      << "  <Title>Synthetic landscape</Title>\n"
      << "  <Description>Fractal terrain coloured by height and lit from the north-west; "
         "made at build time, not a real place.</Description>\n"
      << "  <Raster width=\"" << f.width << "\" height=\"" << f.height << "\" bands=\"" << f.bands << "\" bits=\""
      << f.bits << "\"/>\n"
      << "  <Coding tile=\"" << c.tileSize << "\" levels=\"" << c.levels << "\" layers=\"" << c.layers << "\" rate=\""
      << c.rate << "\" progression=\"" << c.progression << "\"/>\n";
    if (o.georeferenced)
        x << "  <Georeference epsg=\"" << o.georeference.epsg << "\" originX=\"" << o.georeference.originX
          << "\" originY=\"" << o.georeference.originY << "\" cell=\"" << o.georeference.cell << "\"/>\n";
    x << "</SampleImage>\n";
    return x.str();
}

// Removes a work file unless it was handed on.
struct TemporaryFile {
    fs::path path;
    ~TemporaryFile()
    {
        std::error_code ignored;
        if (!path.empty()) fs::remove(path, ignored);
    }
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string describeRates(const TiledJ2kEncoder& encoder)
{
    std::ostringstream s;
    for (float r : encoder.layerRates()) s << (s.tellp() > 0 ? "/" : "") << r;
    return s.str() + ":1";
}

void report(const Options& o, const TiledJ2kEncoder& encoder, double encodeSeconds, double wrapSeconds)
{
    const RasterFormat& f = o.format;
    const J2kCodingParameters& c = o.coding;
    const double mb = static_cast<double>(fs::file_size(o.output)) / (1024.0 * 1024.0);
    std::string geo = o.georeferenced ? ", EPSG:" + std::to_string(o.georeference.epsg) + " + RPC" : "";
    std::printf(
        "mksample: made %s: %dx%d, %d band(s) x %d bits, %d px tiles, %d levels, %d layer(s) at %s, %s%s; "
        "%.1f MiB in %.1f s (texture + compression %.1f s, JP2 wrapping %.1f s, %d threads)\n",
        o.output.c_str(), f.width, f.height, f.bands, f.bits, c.tileSize, c.levels, c.layers,
        describeRates(encoder).c_str(), c.progression.c_str(), geo.c_str(), mb, encodeSeconds + wrapSeconds,
        encodeSeconds, wrapSeconds, c.threads);
}

void run(const Options& o)
{
    const fs::path out = fs::absolute(o.output);
    if (out.has_parent_path()) fs::create_directories(out.parent_path());
    const std::string stem = out.string() + ".tmp" + std::to_string(getpid());
    TemporaryFile codestream{stem + ".j2k"};
    TemporaryFile jp2{stem + ".jp2"};

    Jp2Content content{o.format, std::nullopt, describeXml(o)};
    if (o.georeferenced) content.georeference = o.georeference;
    const Jp2Wrapper wrapper(content);

    const auto start = std::chrono::steady_clock::now();
    const TextureGenerator texture(o.format);
    const TiledJ2kEncoder encoder(o.format, o.coding);
    encoder.encode(codestream.path.string(), [&texture](int x0, int y0, int w, int h, std::vector<uint8_t>& data) {
        texture.renderTile(x0, y0, w, h, data);
    });
    const double encodeSeconds = secondsSince(start);

    const auto wrapStart = std::chrono::steady_clock::now();
    wrapper.wrap(codestream.path.string(), jp2.path.string());
    // Readers never see a half-written file: the finished one replaces the old at once.
    fs::rename(jp2.path, out);
    jp2.path.clear();
    report(o, encoder, encodeSeconds, secondsSince(wrapStart));

    if (!o.xrvOutput.empty()) {
        XrvSampleContent xrv{o.format, std::nullopt, describeXml(o), o.coding.threads};
        if (o.georeferenced) xrv.georeference = o.georeference;
        std::printf("%s\n", writeXrvSample(o.xrvOutput, xrv).c_str());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        run(parseOptions(argc, argv));
        return 0;
    } catch (const UsageError& e) {
        if (*e.what()) std::fprintf(stderr, "mksample: %s\n", e.what());
        std::fputs(kUsage, *e.what() ? stderr : stdout);
        return *e.what() ? 2 : 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "mksample: %s\n", e.what());
        return 1;
    }
}
