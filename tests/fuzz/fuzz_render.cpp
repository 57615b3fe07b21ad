// The whole engine on one file: open it, describe it, count its statistics, and render a
// small view of all of it and of a corner, as a map layer would. XRV files are also taken with
// their checksums made to match.
#include <algorithm>
#include <cstring>
#include <vector>

#include "FuzzSupport.h"
#include "xrv60.h"

namespace {

void render(PLK::CView& view, int size, double x1, double y1, double x2, double y2)
{
    std::vector<uint32_t> bands;
    if (!view.GetDefaultRGBABandList(bands).Success() || bands.empty()) bands = {0};
    if (!view.SetView(static_cast<int>(bands.size()), bands.data(), size, size, x1, y1, x2, y2).Success()) return;
    std::vector<uint8_t> line(4 * size);
    for (int y = 0; y < size; ++y)
        if (view.ReadLineBGRA(line.data()) != PLK_READ_OK) break;
    view.GetPercentComplete();
}

void openAndRender(const uint8_t* data, size_t size)
{
    const std::string path = fuzz::writeInput("input.jp2", data, size);
    PLK::CView view;
    if (!view.Open(PLK::CString(path), false).Success()) return;
    const PLKFileInfo* info = view.GetFileInfo();
    PLKFileStatistics* stats = nullptr;
    if (view.GetClientStatistics(stats).Success() && stats) PLKFreeStatistics(stats);
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    view.ConvertDatasetToWorld(0, 0, x1, y1);
    view.ConvertDatasetToWorld(info->nSizeX, info->nSizeY, x2, y2);
    render(view, 64, x1, y1, x2, y2);
    view.ConvertDatasetToWorld(std::min(64u, info->nSizeX), std::min(64u, info->nSizeY), x2, y2);
    render(view, 32, x1, y1, x2, y2);
    view.Close(true);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetCacheMaxmem(64u << 20);
    PLKInit();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    openAndRender(data, size);
    // An XRV file is taken again with its checksums made to match, as a crafted one would.
    if (size >= 8 && std::memcmp(data, PLK::Engine::Xrv::kMagic, 8) == 0) {
        std::vector<uint8_t> fixed(data, data + size);
        fuzz::fixXrvChecksums(fixed);
        if (!std::equal(fixed.begin(), fixed.end(), data)) openAndRender(fixed.data(), fixed.size());
    }
    return 0;
}
