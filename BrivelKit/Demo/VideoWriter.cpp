#include "Demo/VideoWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace brivel {
namespace {

constexpr const char* kEncoderName = "libx264";
// Chosen by measuring one encoder thread on a 2-vCPU VM at 1280 × 800 and the default bit rate: with
// window-like content "veryfast" encodes about 130 frames a second (7.8 ms a frame; "medium" 60,
// "ultrafast" 190) and full-frame noise about 54, so it keeps up with 30 fps while compressing better than
// the faster presets.
constexpr const char* kPreset = "veryfast";
constexpr std::size_t kQueueCapacity = 4;
constexpr AVRational kCodecTimeBase{1, 1000000};
// The movie's own clock: 90 kHz is the usual video time scale, fine enough for any frame rate and well under
// the scale above which QuickTime players have trouble with long movies.
constexpr AVRational kStreamTimeBase{1, 90000};

std::string errorText(int code) {
    char buffer[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, buffer, sizeof buffer) < 0) {
        return "error " + std::to_string(code);
    }
    return buffer;
}

void quietenLibraries() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

double threadCpuSeconds() {
    timespec now{};
    if (::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) != 0) {
        return 0.0;
    }
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

struct Item {
    QImage image;
    std::int64_t pts = 0; // microseconds
};

} // namespace

struct VideoWriter::State {
    Settings settings;
    std::filesystem::path path;

    // Owned by the encoder thread once it runs; freed here after it has been joined.
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    SwsContext* scaler = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    bool fileOpen = false;
    std::int64_t frameDuration = 0; // microseconds, given to the last frame

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Item> queue; // guarded by `mutex`, as are the three below
    bool closing = false;
    std::optional<std::string> failure;
    std::optional<std::int64_t> lastStreamPts;

    std::atomic<std::size_t> encoded{0};
    std::atomic<std::size_t> dropped{0};
    std::atomic<double> cpuSeconds{0.0};

    std::mutex finishMutex;
    std::thread thread;
    bool finished = false; // guarded by `finishMutex`
    std::optional<std::string> result;

    ~State() {
        sws_freeContext(scaler);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        if (format != nullptr) {
            if (fileOpen) {
                avio_closep(&format->pb);
            }
            avformat_free_context(format);
        }
    }

    void fail(std::string reason) {
        const std::lock_guard lock(mutex);
        if (!failure) {
            failure = std::move(reason);
        }
        queue.clear();
    }

    bool hasFailed() {
        const std::lock_guard lock(mutex);
        return failure.has_value();
    }

    // Moves every packet the encoder has ready into the file.
    bool drainPackets() {
        while (true) {
            const int received = avcodec_receive_packet(codec, packet);
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
                return true;
            }
            if (received < 0) {
                fail("Couldn’t encode the video: " + errorText(received));
                return false;
            }
            // The movie takes each frame's length from the next time stamp; only the last frame keeps this
            // one, a nominal frame.
            packet->duration = frameDuration;
            av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            const int written = av_interleaved_write_frame(format, packet);
            if (written < 0) {
                fail("Couldn’t write " + path.string() + ": " + errorText(written));
                return false;
            }
        }
    }

    bool encode(const Item& item) {
        const int writable = av_frame_make_writable(frame);
        if (writable < 0) {
            fail("Couldn’t encode the video: " + errorText(writable));
            return false;
        }
        // Alpha is dropped: frames are drawn opaque, so premultiplied and straight colours are the same.
        const uint8_t* source[] = {item.image.constBits()};
        const int stride[] = {static_cast<int>(item.image.bytesPerLine())};
        sws_scale(scaler, source, stride, 0, settings.height, frame->data, frame->linesize);
        frame->pts = item.pts;
        const int sent = avcodec_send_frame(codec, frame);
        if (sent < 0) {
            fail("Couldn’t encode the video: " + errorText(sent));
            return false;
        }
        encoded.fetch_add(1);
        return drainPackets();
    }

    void run() {
        while (true) {
            Item item;
            {
                std::unique_lock lock(mutex);
                wake.wait(lock, [this] { return closing || !queue.empty(); });
                if (queue.empty()) {
                    break;
                }
                item = std::move(queue.front());
                queue.pop_front();
            }
            encode(item);
            item = Item{}; // lets go of the image's pixels before the next wait
            cpuSeconds.store(threadCpuSeconds());
        }
        if (!hasFailed()) {
            const int sent = avcodec_send_frame(codec, nullptr);
            if (sent < 0) {
                fail("Couldn’t encode the video: " + errorText(sent));
            } else {
                drainPackets();
            }
        }
        // The trailer makes what was written playable, so it is written even after a failure.
        const int trailer = av_write_trailer(format);
        if (trailer < 0) {
            fail("Couldn’t finish " + path.string() + ": " + errorText(trailer));
        }
        const int closed = avio_closep(&format->pb);
        fileOpen = false;
        if (closed < 0) {
            fail("Couldn’t write " + path.string() + ": " + errorText(closed));
        }
        cpuSeconds.store(threadCpuSeconds());
    }

    // Sets up the container and the encoder and writes the movie's header; the reason when that fails.
    std::optional<std::string> setUp() {
        const Settings& s = settings;
        if (s.width <= 0 || s.height <= 0 || s.width % 2 != 0 || s.height % 2 != 0) {
            return "Can’t encode a " + std::to_string(s.width) + " × " + std::to_string(s.height) +
                   " video: the width and height must be even and above 0.";
        }
        if (s.fps <= 0) {
            return "Can’t encode a video at " + std::to_string(s.fps) + " frames per second.";
        }
        const AVCodec* encoder = avcodec_find_encoder_by_name(kEncoderName);
        if (encoder == nullptr) {
            return std::string("The H.264 encoder (") + kEncoderName + ") isn’t available.";
        }
        const std::string name = path.string();
        int status = avformat_alloc_output_context2(&format, nullptr, "mov", name.c_str());
        if (status < 0 || format == nullptr) {
            return "Couldn’t set up the QuickTime container: " + errorText(status);
        }
        stream = avformat_new_stream(format, nullptr);
        codec = avcodec_alloc_context3(encoder);
        frame = av_frame_alloc();
        packet = av_packet_alloc();
        if (stream == nullptr || codec == nullptr || frame == nullptr || packet == nullptr) {
            return std::string("Couldn’t set up the video encoder: out of memory.");
        }

        codec->width = s.width;
        codec->height = s.height;
        codec->pix_fmt = AV_PIX_FMT_YUV420P;
        codec->time_base = kCodecTimeBase;
        codec->framerate = AVRational{s.fps, 1};
        codec->bit_rate = s.bitRate > 0 ? s.bitRate : std::int64_t{s.width} * s.height * 8;
        codec->gop_size = s.fps;
        codec->max_b_frames = 0;
        // One thread, so encoding stays on one core and the other is left to the interface.
        codec->thread_count = 1;
        // Screen content is sRGB; tagging the BT.709 matrix the converter uses lets players undo it exactly.
        codec->color_range = AVCOL_RANGE_MPEG;
        codec->colorspace = AVCOL_SPC_BT709;
        codec->color_primaries = AVCOL_PRI_BT709;
        codec->color_trc = AVCOL_TRC_BT709;
        if ((format->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
            codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        AVDictionary* options = nullptr;
        av_dict_set(&options, "preset", kPreset, 0);
        av_dict_set(&options, "threads", "1", 0);
        status = avcodec_open2(codec, encoder, &options);
        av_dict_free(&options);
        if (status < 0) {
            return "Couldn’t start the H.264 encoder: " + errorText(status);
        }
        status = avcodec_parameters_from_context(stream->codecpar, codec);
        if (status < 0) {
            return "Couldn’t start the H.264 encoder: " + errorText(status);
        }
        stream->time_base = kStreamTimeBase;
        stream->avg_frame_rate = codec->framerate;
        frameDuration = std::llround(1e6 / s.fps);

        frame->format = codec->pix_fmt;
        frame->width = s.width;
        frame->height = s.height;
        status = av_frame_get_buffer(frame, 0);
        if (status < 0) {
            return "Couldn’t set up the video encoder: " + errorText(status);
        }
        // QImage's 32-bit formats are 0xAARRGGBB words, which is what AV_PIX_FMT_RGB32 names on either
        // byte order (B, G, R, A in memory here).
        scaler = sws_getContext(s.width, s.height, AV_PIX_FMT_RGB32, s.width, s.height, AV_PIX_FMT_YUV420P,
                                SWS_BILINEAR, nullptr, nullptr, nullptr);
        if (scaler == nullptr) {
            return std::string("Couldn’t set up the colour conversion.");
        }
        const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(scaler, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);

        status = avio_open(&format->pb, name.c_str(), AVIO_FLAG_WRITE);
        if (status < 0) {
            return "Couldn’t create " + name + ": " + errorText(status);
        }
        fileOpen = true;
        status = avformat_write_header(format, nullptr);
        if (status < 0) {
            avio_closep(&format->pb);
            fileOpen = false;
            return "Couldn’t write " + name + ": " + errorText(status);
        }
        return std::nullopt;
    }
};

VideoWriter::VideoWriter(std::unique_ptr<State> state) : m_state(std::move(state)) {}

VideoWriter::~VideoWriter() { finish(); }

std::unique_ptr<VideoWriter> VideoWriter::open(const std::filesystem::path& path, const Settings& settings,
                                               std::string& error) {
    quietenLibraries();
    auto state = std::make_unique<State>();
    state->settings = settings;
    state->path = path;
    if (auto reason = state->setUp()) {
        error = std::move(*reason);
        return nullptr;
    }
    State* running = state.get();
    try {
        running->thread = std::thread([running] { running->run(); });
    } catch (const std::system_error& failure) {
        error = std::string("Couldn’t start the encoder thread: ") + failure.what();
        avio_closep(&running->format->pb);
        running->fileOpen = false;
        return nullptr;
    }
    error.clear();
    return std::unique_ptr<VideoWriter>(new VideoWriter(std::move(state)));
}

bool VideoWriter::append(const QImage& frame, double seconds) {
    State& state = *m_state;
    const QImage::Format format = frame.format();
    if (frame.width() != state.settings.width || frame.height() != state.settings.height ||
        (format != QImage::Format_ARGB32 && format != QImage::Format_ARGB32_Premultiplied)) {
        return false;
    }
    // Times before the start, or too far off to fit the stamps, can't be stamped.
    if (!std::isfinite(seconds) || seconds < 0 || seconds > 1e9) {
        return false;
    }
    const std::int64_t pts = std::llround(seconds * 1e6);
    // Judged on the movie's coarser clock too: two frames that land on the same tick there can't both be
    // written.
    const std::int64_t streamPts = av_rescale_q(pts, kCodecTimeBase, state.stream->time_base);
    const std::lock_guard lock(state.mutex);
    if (state.closing || state.failure || (state.lastStreamPts && streamPts <= *state.lastStreamPts)) {
        return false;
    }
    if (state.queue.size() >= kQueueCapacity) {
        state.dropped.fetch_add(1);
        return false;
    }
    state.queue.push_back(Item{frame, pts});
    state.lastStreamPts = streamPts;
    state.wake.notify_one();
    return true;
}

std::optional<std::string> VideoWriter::finish() {
    State& state = *m_state;
    const std::lock_guard finishing(state.finishMutex);
    if (!state.finished) {
        {
            const std::lock_guard lock(state.mutex);
            state.closing = true;
        }
        state.wake.notify_one();
        state.thread.join();
        state.finished = true;
        const std::lock_guard lock(state.mutex);
        state.result = state.failure;
    }
    return state.result;
}

std::size_t VideoWriter::framesEncoded() const { return m_state->encoded.load(); }

std::size_t VideoWriter::framesDropped() const { return m_state->dropped.load(); }

double VideoWriter::encoderCpuSeconds() const { return m_state->cpuSeconds.load(); }

} // namespace brivel
