// PNG frames go into a temporary directory beside the output; when all are
// written it becomes the output (or its files move into an existing one).
#include "tools/render/pngsink.h"

#include "tools/render/soundtrack.h"

#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace vexlor {
namespace {

namespace fs = std::filesystem;

class pngsink_t : public framesink_t {
public:
    pngsink_t(fs::path target, fs::path partial, const sinkformat_t& format)
        : m_target(std::move(target)), m_partial(std::move(partial)), m_format(format),
          m_rows(static_cast<std::size_t>(format.height)),
          m_path((m_partial / framename(0)).string())
    {
    }
    ~pngsink_t() override
    {
        if (!m_done) abandon();
    }

    bool begin(const soundwriter_t& sound, std::string& message) override
    {
        if (m_format.chunk) return true;
        return sound((m_partial / "sound.wav").string(), message);
    }

    bool wantsyuv() const override { return false; }

    bool frame(const unsigned char* pixels, std::string& message) override
    {
        // The name's digits are rewritten in place: no allocation per frame.
        // framename's six digits before ".png"; a render has fewer than a million frames.
        char digits[32];
        std::snprintf(digits, sizeof digits, "%06zu", m_format.first + m_count);
        m_path.replace(m_path.size() - 10, 6, digits);
        FILE* file = std::fopen(m_path.c_str(), "wb");
        if (!file) {
            message = m_path + ": " + std::strerror(errno);
            return false;
        }
        // GL's rows start at the bottom, PNG's at the top.
        const std::size_t stride = static_cast<std::size_t>(m_format.width) * 4;
        for (std::size_t i = 0; i < m_rows.size(); ++i)
            m_rows[i] = const_cast<png_bytep>(pixels + (m_rows.size() - 1 - i) * stride);
        errno = 0;
        const bool written = write(file);
        int error = errno;
        const bool closed = std::fclose(file) == 0;
        if (!written || !closed) {
            error = error != 0 ? error : errno;
            message = m_path + ": cannot write the frame" + (error != 0 ? std::string(" (") + std::strerror(error) + ")" : "");
            return false;
        }
        ++m_count;
        return true;
    }

    // Into an existing folder the files move one by one, and the frames an
    // earlier render left there past this one's last are removed: the folder
    // then holds this render's frames only. A render's own files are those
    // it names: "frameNNNNNN.png" (six digits) and "sound.wav"; anything else
    // in the folder is its owner's and is left alone.
    bool finish(std::string& message) override
    {
        std::error_code ec;
        if (m_format.chunk) {
            // The other chunks' frames, perhaps being moved in at the same
            // time, are left alone.
            fs::create_directories(m_target, ec);
            for (auto entry = fs::directory_iterator(m_partial, ec); !ec && entry != fs::directory_iterator();
                 entry.increment(ec)) {
                fs::rename(entry->path(), m_target / entry->path().filename(), ec);
                if (ec) break;
            }
            if (!ec) fs::remove(m_partial, ec);
        } else if (!fs::exists(m_target, ec)) {
            fs::rename(m_partial, m_target, ec);
        } else {
            for (const auto& entry : fs::directory_iterator(m_partial, ec)) {
                fs::rename(entry.path(), m_target / entry.path().filename(), ec);
                if (ec) break;
            }
            if (!ec) fs::remove(m_partial, ec);
            for (auto entry = fs::directory_iterator(m_target, ec); !ec && entry != fs::directory_iterator();
                 entry.increment(ec)) {
                const std::string name = entry->path().filename().string();
                std::error_code kind;
                if (isframename(name) && std::strtoul(name.c_str() + 5, nullptr, 10) >= m_count && entry->is_regular_file(kind))
                    fs::remove(entry->path(), ec);
            }
        }
        if (ec) {
            message = m_target.string() + ": " + ec.message();
            return false;
        }
        m_done = true;
        return true;
    }

    void abandon() override
    {
        std::error_code ec;
        fs::remove_all(m_partial, ec);
        m_done = true;
    }

private:
    bool write(FILE* file)
    {
        // libpng's own handlers print; a failure here is told in one line by the caller.
        const auto fail = [](png_structp png, png_const_charp) { png_longjmp(png, 1); };
        const auto ignore = [](png_structp, png_const_charp) {};
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, ignore);
        png_infop info = png ? png_create_info_struct(png) : nullptr;
        if (!info) {
            png_destroy_write_struct(&png, nullptr);
            return false;
        }
        if (setjmp(png_jmpbuf(png))) {
            png_destroy_write_struct(&png, &info);
            return false;
        }
        png_init_io(png, file);
        // Fast to write: these are frames, not archives.
        png_set_compression_level(png, 3);
        png_set_IHDR(png, info, static_cast<png_uint_32>(m_format.width),
                     static_cast<png_uint_32>(m_format.height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_rows(png, info, m_rows.data());
        // The renderer's alpha is not part of the picture.
        png_write_png(png, info, PNG_TRANSFORM_STRIP_FILLER_AFTER, nullptr);
        png_destroy_write_struct(&png, &info);
        return true;
    }

    fs::path m_target;
    fs::path m_partial;
    sinkformat_t m_format;
    std::vector<png_bytep> m_rows;
    std::string m_path; // of the frame being written
    std::size_t m_count = 0;
    bool m_done = false;
};

} // namespace

std::unique_ptr<framesink_t> makepngsink(const std::string& output, const sinkformat_t& format,
                                         std::string& message)
{
    fs::path target = fs::path(output).parent_path(); // "out/" names the directory "out"
    if (target.empty()) target = ".";
    std::error_code ec;
    if (fs::exists(target, ec) && !fs::is_directory(target, ec)) {
        message = output + ": exists and is not a directory";
        return nullptr;
    }
    fs::path parent = target.parent_path();
    if (parent.empty()) parent = ".";
    const fs::path partial = parent / partialname(parent.string(), target.filename().string(), "");
    fs::remove_all(partial, ec);
    if (!fs::create_directory(partial, ec)) {
        message = output + ": cannot write there (" + (ec ? ec.message() : "exists") + ")";
        return nullptr;
    }
    return std::make_unique<pngsink_t>(target, partial, format);
}

} // namespace vexlor
