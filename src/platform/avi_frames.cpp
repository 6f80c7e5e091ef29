// Film frames through AVIFile. Each of the file's streams (up to ten) is taken
// as an editable copy, so that the file itself is released at once; the last
// video stream is the one whose frames are fetched.
#include "platform/avi_frames.h"

#ifdef _WIN32
#include <vfw.h>

#include <vector>

namespace {
const int kMaxStreams = 10;
int streamCount;
PAVISTREAM streams[kMaxStreams];
PAVISTREAM videoStream;
PGETFRAME getFrame;
// Whether the video's frames are compressed: such a frame may build on the
// ones before it, and the editable copies don't tell the key frames.
bool inOrder;
}  // namespace

int AVF_Available() { return 1; }

void AVF_Close()
{
    if (!streamCount) return;
    if (getFrame) AVIStreamGetFrameClose(getFrame);
    getFrame = nullptr;
    videoStream = nullptr;
    for (int i = 0; i < streamCount; i++) AVIStreamRelease(streams[i]);
    streamCount = 0;
    AVIFileExit();
}

int AVF_Open(LPCSTR path)
{
    AVF_Close();
    AVIFileInit();
    PAVIFILE file = nullptr;
    if (AVIFileOpenA(&file, path, OF_READ | OF_SHARE_DENY_NONE, nullptr) != 0) {
        AVIFileExit();
        return 0;
    }
    int count = 0;
    for (int i = 0; i < kMaxStreams; i++) {
        PAVISTREAM stream = nullptr;
        if (AVIFileGetStream(file, &stream, 0, i) != 0) break;
        PAVISTREAM copy = nullptr;
        const HRESULT made = CreateEditableStream(&copy, stream);
        AVIStreamRelease(stream);
        if (made != 0 || !copy) break;
        streams[count++] = copy;
    }
    AVIFileRelease(file);
    if (!count) {
        AVIFileExit();
        return 0;
    }
    streamCount = count;
    for (int i = 0; i < count; i++) {
        AVISTREAMINFOA info{};
        if (AVIStreamInfoA(streams[i], &info, sizeof info) != 0 || info.fccType != streamtypeVIDEO) continue;
        if (getFrame) AVIStreamGetFrameClose(getFrame);
        videoStream = streams[i];
        getFrame = AVIStreamGetFrameOpen(videoStream, nullptr);
        LONG size = 0;
        AVIStreamReadFormat(videoStream, 0, nullptr, &size);
        std::vector<BYTE> format(size >= static_cast<LONG>(sizeof(BITMAPINFOHEADER)) ? size : 0);
        inOrder = format.empty() || AVIStreamReadFormat(videoStream, 0, format.data(), &size) != 0 ||
                  reinterpret_cast<const BITMAPINFOHEADER*>(format.data())->biCompression != BI_RGB;
    }
    return 1;
}

const BITMAPINFOHEADER* AVF_Frame(LONG n)
{
    if (!getFrame) return nullptr;
    // A compressed frame is decoded after all those before it.
    if (inOrder)
        for (LONG i = 0; i < n; i++) AVIStreamGetFrame(getFrame, i);
    return static_cast<const BITMAPINFOHEADER*>(AVIStreamGetFrame(getFrame, n));
}

#else

int AVF_Available() { return 0; }
int AVF_Open(LPCSTR) { return 0; }
const BITMAPINFOHEADER* AVF_Frame(LONG) { return nullptr; }
void AVF_Close() {}

#endif
