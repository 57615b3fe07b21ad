// PSNR in dB between two binary PPM/PGM files of the same size and depth (8 or 16 bits),
// read in slices so that images of any size fit: bench/xrv.sh builds and runs it.
#include <cmath>
#include <cstdio>
#include <vector>

// The next number of a header, past blanks and "#" comment lines (opj_decompress writes one).
static bool number(std::FILE* f, int& v)
{
    int ch;
    while ((ch = std::fgetc(f)) == '#' || ch == ' ' || ch == '\n' || ch == '\r' || ch == '\t')
        if (ch == '#')
            while ((ch = std::fgetc(f)) != '\n' && ch != EOF) {
            }
    std::ungetc(ch, f);
    return std::fscanf(f, "%d", &v) == 1;
}

static bool header(std::FILE* f, int& w, int& h, int& channels, int& maxval)
{
    char magic[3] = {};
    if (std::fscanf(f, "%2s", magic) != 1 || !number(f, w) || !number(f, h) || !number(f, maxval)) return false;
    std::fgetc(f);
    channels = magic[1] == '6' ? 3 : 1;
    return magic[0] == 'P' && (magic[1] == '5' || magic[1] == '6');
}

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    std::FILE* a = std::fopen(argv[1], "rb");
    std::FILE* b = std::fopen(argv[2], "rb");
    int w, h, c, m, w2, h2, c2, m2;
    if (!a || !b || !header(a, w, h, c, m) || !header(b, w2, h2, c2, m2) || w != w2 || h != h2 || c != c2 || m != m2)
        return 1;
    const size_t bytes = m > 255 ? 2 : 1, chunk = size_t(1) << 24;
    std::vector<unsigned char> x(chunk * bytes), y(chunk * bytes);
    double se = 0;
    size_t left = size_t(w) * h * c;
    while (left) {
        const size_t n = left < chunk ? left : chunk;
        if (std::fread(x.data(), bytes, n, a) != n || std::fread(y.data(), bytes, n, b) != n) return 1;
        for (size_t i = 0; i < n; ++i) {
            const double d = bytes == 1 ? double(x[i]) - y[i]
                                        : double(x[2 * i] << 8 | x[2 * i + 1]) - double(y[2 * i] << 8 | y[2 * i + 1]);
            se += d * d;
        }
        left -= n;
    }
    const double mse = se / (double(w) * h * c);
    std::printf("%.2f\n", mse > 0 ? 10 * std::log10(double(m) * m / mse) : 999.0);
    return 0;
}
