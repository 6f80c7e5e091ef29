// kvconvert: the batch conversion without a desktop. Each input is loaded,
// converted and saved exactly as the batch facility converts one file.
#include "batch/batch_engine.h"
#include "cli/cli_job.h"
#include "cli/cli_options.h"
#include "cli/headless.h"
#include "core/messages.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/jpeg.h"
#include "platform/ui_hooks.h"
#include "platform/win32.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <cerrno>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

const char kUsage[] =
    "Usage: kvconvert [OPTIONS] INPUT...\n"
    "Convert image files from one format to another, one after the other.\n"
    "\n"
    "  -o, --output PATH          output file (one input) or directory (default: .)\n"
    "  -t, --to EXT               output format by extension, e.g. gif, pcx, tif\n"
    "  -d, --depth N              colour target 1, 4, 8, 16, 24 or 32 (default: the\n"
    "                             image's own if the format holds it, else the\n"
    "                             largest it holds below, else the smallest above)\n"
    "      --gray | --color       convert to gray, or keep colour (default)\n"
    "      --flat | --optimized   reduction method (default --optimized)\n"
    "      --dither | --no-dither dither when reducing (default --dither)\n"
    "      --dither-type N|NAME   0 halftone, 1 qvd-fast, 2 floyd-steinberg (default),\n"
    "                             3 stucki, 4 burkes, 5 sierra, 6 jarvis,\n"
    "                             7 stevenson-arce, 8 floyd-noise\n"
    "      --fast-dither 0|1      colour match cache (default 1)\n"
    "      --compress | --no-compress   (default: as the output format allows)\n"
    "      --tiff-compression DEPTH=NAME   PackBits, RLE, Group3, Group4\n"
    "      --jpeg-quality N       JPEG quality 1..100\n"
    "      --limit-memory SIZE    refuse an image larger than SIZE bytes (K, M, G\n"
    "                             suffixes; at most and by default 2G)\n"
    "      --yes | --no           answer to a reader's question (default --no)\n"
    "      --force                overwrite existing outputs (never an input)\n"
    "  -j, --jobs N               convert N files at once (default: one per core);\n"
    "                             above 1, questions take the --yes/--no answer\n"
    "      --files-from FILE      more inputs, one name a line; - reads standard input\n"
    "  -q, --quiet / --progress   progress bar on a terminal by default; -q also\n"
    "                             drops the closing line: converted, failed,\n"
    "                             skipped (outputs kept), seconds\n"
    "      --list-formats         the format table\n"
    "      --info FILE            what the reader learned about FILE\n"
    "      --version, --help\n";

// The output being written, so that a second Ctrl-C can remove it at once.
char unfinishedOutput[4096];

#ifndef _WIN32
// The workers of -j, to which the parent passes an interrupt aimed at it alone.
pid_t workerPids[256];
volatile sig_atomic_t workerCount = 0;
#endif

void OnInterrupt(int)
{
    static volatile sig_atomic_t interrupts = 0;
    HDL_RequestStop(true);
#ifndef _WIN32
    for (sig_atomic_t i = 0; i < workerCount; i++) kill(workerPids[i], SIGINT);
#endif
    if (++interrupts > 1) {
        if (unfinishedOutput[0]) remove(unfinishedOutput);
        _exit(130);
    }
}

#ifdef _WIN32
bool FileIdentity(const std::string& path, BY_HANDLE_FILE_INFORMATION* info)
{
    HANDLE file = CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const BOOL ok = GetFileInformationByHandle(file, info);
    CloseHandle(file);
    return ok != 0;
}
#endif

bool SameFile(const std::string& a, const std::string& b)
{
    struct stat sa, sb;
    if (stat(a.c_str(), &sa) != 0 || stat(b.c_str(), &sb) != 0) return false;
#ifdef _WIN32
    // No inode numbers: the volume and file index say the same, whatever the
    // length of the full paths.
    BY_HANDLE_FILE_INFORMATION ia, ib;
    if (!FileIdentity(a, &ia) || !FileIdentity(b, &ib)) return false;
    return ia.dwVolumeSerialNumber == ib.dwVolumeSerialNumber && ia.nFileIndexHigh == ib.nFileIndexHigh &&
           ia.nFileIndexLow == ib.nFileIndexLow;
#else
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
#endif
}

bool IsDirectory(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && (st.st_mode & S_IFMT) == S_IFDIR;
}

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string JoinPath(const std::string& dir, const std::string& name)
{
    if (dir.empty() || dir == ".") return name;
    char last = dir.back();
    return (last == '/' || last == '\\') ? dir + name : dir + "/" + name;
}

// Input names one a line from a file or, for "-", standard input; empty lines
// are passed over and a line's carriage return is dropped.
int ReadFileList(const std::string& from, std::vector<std::string>* names)
{
    const bool standard = from == "-";
    FILE* f = standard ? stdin : fopen(from.c_str(), "rb");
    if (!f) {
        fprintf(stderr, "kvconvert: cannot read the list %s\n", from.c_str());
        return 0;
    }
    std::string line;
    int c;
    do {
        c = fgetc(f);
        if (c == EOF || c == '\n') {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (!line.empty()) names->push_back(line);
            line.clear();
        } else {
            line += static_cast<char>(c);
        }
    } while (c != EOF);
    const bool bad = ferror(f) != 0;
    if (!standard) fclose(f);
    if (bad) fprintf(stderr, "kvconvert: cannot read the list %s\n", from.c_str());
    return !bad;
}

int CoreCount()
{
#ifdef _WIN32
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors > 0 ? static_cast<int>(info.dwNumberOfProcessors) : 1;
#else
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<int>(n) : 1;
#endif
}

// What became of one input.
enum : signed char {
    RESULT_FAILED = 0,
    RESULT_CONVERTED = 1,
    RESULT_SKIPPED = 2,  // its output exists and --force wasn't given
    RESULT_STOPPED = -1,
    RESULT_NOT_REACHED = -2,
};

struct Job {
    const ConvertOptions& o;
    const std::vector<std::string>& inputs;
    bool outputIsDir;
    int outRow;
};

#ifndef _WIN32
// The identities of the inputs, taken once: an output is compared with each
// of thousands of inputs only when it exists.
bool OutputIsInput(const Job& job, const std::string& output)
{
    struct stat so;
    if (stat(output.c_str(), &so) != 0) return false;
    static std::set<std::pair<dev_t, ino_t>> identities;
    static bool taken = false;
    if (!taken) {
        for (const std::string& input : job.inputs) {
            struct stat si;
            if (stat(input.c_str(), &si) == 0) identities.insert({si.st_dev, si.st_ino});
        }
        taken = true;
    }
    return identities.count({so.st_dev, so.st_ino}) != 0;
}
#else
bool OutputIsInput(const Job& job, const std::string& output)
{
    if (!Exists(output)) return false;
    for (const std::string& other : job.inputs)
        if (SameFile(output, other)) return true;
    return false;
}
#endif

// Converts input n after the checks that keep inputs and existing outputs safe.
int ConvertOne(const Job& job, size_t n)
{
    const std::string& input = job.inputs[n];
    HDL_SetContext(input);
    std::string output = job.outputIsDir ? JoinPath(job.o.output, CLI_OutputName(input, job.outRow)) : job.o.output;
    if (!BAT_CheckNames(input, output)) return RESULT_FAILED;
    if (!Exists(input)) {
        // Readers open quietly; say here why nothing came of it.
        fprintf(stderr, "%s: cannot open the file\n", input.c_str());
        return RESULT_FAILED;
    }
    if (OutputIsInput(job, output)) {
        fprintf(stderr, "%s: the output %s is an input file; it is never overwritten\n", input.c_str(), output.c_str());
        return RESULT_FAILED;
    }
    if (Exists(output) && !job.o.force) {
        fprintf(stderr, "%s: %s exists (use --force to replace it)\n", input.c_str(), output.c_str());
        return RESULT_SKIPPED;
    }
    int result = CLI_ConvertFile(job.o, input, output, job.outRow, unfinishedOutput, sizeof unfinishedOutput);
    return result < 0 ? RESULT_STOPPED : result ? RESULT_CONVERTED : RESULT_FAILED;
}

#ifndef _WIN32
// Several files at once by worker processes, not threads: the engine's run
// state is process-wide by design (the load's ImageInfo, the buffered reader,
// Optimized Cut's working state, the abort flag, the settings) and takes one
// conversion at a time. A forked worker is the one-file program unchanged,
// so its outputs are byte for byte those of -j 1. Workers take the next
// input from a counter they share and write each result into a shared table.
void RunWorkers(const Job& job, int jobs, signed char* results)
{
    const size_t count = job.inputs.size();
    const size_t bytes = sizeof(size_t) + count;
    void* map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) {
        fprintf(stderr, "kvconvert: no shared memory for %d workers; converting one file at a time\n", jobs);
        for (size_t n = 0; n < count && UTL_Yield(); n++)
            if ((results[n] = static_cast<signed char>(ConvertOne(job, n))) == RESULT_STOPPED) break;
        return;
    }
    size_t* next = static_cast<size_t*>(map);
    signed char* shared = reinterpret_cast<signed char*>(next + 1);
    *next = 0;
    memset(shared, RESULT_NOT_REACHED, count);
    fflush(stdout);
    fflush(stderr);
    std::vector<pid_t> workers;
    for (int k = 0; k < jobs; k++) {
        pid_t pid = fork();
        if (pid == 0) {
            workerCount = 0;
            for (;;) {
                const size_t n = __atomic_fetch_add(next, 1, __ATOMIC_SEQ_CST);
                if (n >= count || UTL_Yield() == 0) break;
                const int result = ConvertOne(job, n);
                __atomic_store_n(&shared[n], static_cast<signed char>(result), __ATOMIC_SEQ_CST);
                if (result == RESULT_STOPPED) break;
            }
            fflush(stdout);
            _exit(0);
        }
        if (pid < 0) {
            fprintf(stderr, "kvconvert: could start only %d of %d workers\n", k, jobs);
            break;
        }
        workers.push_back(pid);
        workerPids[k] = pid;
        workerCount = k + 1;
    }
    // Without any worker the parent converts the files itself.
    if (workers.empty())
        for (size_t n = 0; n < count && UTL_Yield(); n++)
            if ((shared[n] = static_cast<signed char>(ConvertOne(job, n))) == RESULT_STOPPED) break;
    for (pid_t pid : workers) {
        int status = 0;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) != SIGINT)
            fprintf(stderr, "kvconvert: a worker ended by signal %d\n", WTERMSIG(status));
    }
    workerCount = 0;
    memcpy(results, shared, count);
    munmap(map, bytes);
}
#else
// Windows has no fork: the files are converted one after the other.
void RunWorkers(const Job& job, int, signed char* results)
{
    for (size_t n = 0; n < job.inputs.size() && UTL_Yield(); n++)
        if ((results[n] = static_cast<signed char>(ConvertOne(job, n))) == RESULT_STOPPED) break;
}
#endif

int PrintFormats()
{
    printf("%-4s %-4s %-40s %-5s %-5s %-17s %s\n", "row", "ext", "description", "read", "write", "capability", "id");
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        char ext[16], description[256];
        FMT_GetExtension(row, ext);
        FMT_GetDescription(row, description);
        // As the lists show them: stubs are named but neither read nor written.
        bool reads = FMT_CanLoad(row) && !FMT_IsLoadStub(row);
        bool writes = FMT_CanSave(row) && !FMT_IsSaveStub(row);
        char caps[32];
        const BYTE* c = FMT_GetRow(row)->capability;
        snprintf(caps, sizeof caps, "%u %u %u %u %u %u", c[0], c[1], c[2], c[3], c[4], c[5]);
        printf("%-4d %-4s %-40s %-5s %-5s %-17s %ld\n", row, ext, description, reads ? "yes" : "no",
               writes ? "yes" : "no", caps, static_cast<long>(FMT_GetId(row)));
    }
    return 0;
}

int PrintInfo(const std::string& path)
{
    HDL_SetContext(path);
    if (!FIL_NameFits(path.c_str())) {
        fprintf(stderr, "%s: the path is too long (at most %u characters)\n", path.c_str(),
                static_cast<unsigned>(FIL_NameRoom) - 1);
        return 1;
    }
    INF_Begin(path.c_str());
    HGLOBAL dib = nullptr;
    int ok = FMT_Load(path.c_str(), &dib, FMT_Row_Any);
    if (ok) {
        char description[256] = "";
        if (FMT_FoundRow >= 0) FMT_GetDescription(FMT_FoundRow, description);
        printf("file: %s\nformat: %s\n", path.c_str(), description);
        const struct {
            const char* name;
            int field;
        } fields[] = {{"width", INF_WIDTH},   {"height", INF_HEIGHT},         {"palette", INF_PALETTE},
                      {"planes", INF_PLANES}, {"colors", INF_COLORS},         {"gray", INF_GRAY},
                      {"memory", INF_MEMORY}, {"compressed", INF_COMPRESSED}, {"bits per pixel", INF_BITSPERPIXEL},
                      {"type", INF_TYPE},     {"version", INF_VERSION}};
        for (const auto& f : fields) {
            LONG v = INF_GetValue(f.field);
            if (v == -1) printf("%s: Unknown\n", f.name);
            else printf("%s: %ld\n", f.name, static_cast<long>(v));
        }
        printf("creator: %s\n", INF_Info.creator ? INF_Info.creator : "Unknown");
        GlobalFree(dib);
    }
    INF_End();
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    ConvertOptions o;
    std::string error;
    if (!CLI_ParseOptions(argc, argv, &o, &error)) {
        fprintf(stderr, "kvconvert: %s\nTry 'kvconvert --help'.\n", error.c_str());
        return 2;
    }
    if (o.help) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (o.version) {
        printf("kvconvert (KorVanta) 3.50\n");
        return 0;
    }

    HDL_SetEcho(true);
    bool interactive = isatty(fileno(stdin)) && isatty(fileno(stderr));
    HDL_SetPolicy(o.answer > 0 ? IDYES : IDNO);
    HDL_SetInteractive(o.answer == 0 && interactive);
    // The bar shows only on a terminal; -q silences it, --progress asks for it.
    HDL_SetProgressBar(o.progress != 0);
    SET_Reset();
    SET_Put(SET_DITHER_TYPE, o.ditherType);
    SET_Put(SET_FAST_DITHER, o.fastDither);
    for (int i = 0; i < 5; i++)
        if (o.tiffCompression[i] >= 0) SET_Put(SET_TIF_1_BIT_COMPRESSION + 4 * i, o.tiffCompression[i]);
    if (o.jpegQuality > 0) ZIM_SetQuality(o.jpegQuality);
    if (o.memoryLimit) DIB_SetMemoryLimit(o.memoryLimit);
    FMT_RegisterBuiltins();
    FIL_LoadRow = FMT_Row_Any;

    if (o.listFormats) return PrintFormats();
    if (!o.info.empty()) return PrintInfo(o.info);
    std::vector<std::string> inputs = o.inputs;
    if (!o.filesFrom.empty() && !ReadFileList(o.filesFrom, &inputs)) return 2;
    if (inputs.empty()) {
        fprintf(stderr, "kvconvert: no input files\nTry 'kvconvert --help'.\n");
        return 2;
    }

    // The output row: --to, else the extension of -o FILE.
    bool outputIsDir = o.output.empty() || IsDirectory(o.output) ||
                       (!o.output.empty() && (o.output.back() == '/' || o.output.back() == '\\'));
    int outRow = -1;
    if (!o.to.empty()) {
        outRow = FMT_FromExtension(o.to.c_str());
    } else if (!outputIsDir) {
        outRow = FMT_FromFileName(o.output.c_str());
    } else {
        fprintf(stderr, "kvconvert: say the output format with --to EXT or name the output file with -o\n");
        return 2;
    }
    if (outRow < 0 || !FMT_CanSave(outRow) || FMT_IsSaveStub(outRow)) {
        fprintf(stderr, "kvconvert: '%s' is not a format that can be written (see --list-formats)\n",
                o.to.empty() ? o.output.c_str() : o.to.c_str());
        return 2;
    }
    if (!outputIsDir && inputs.size() > 1) {
        fprintf(stderr, "kvconvert: -o names one file, but %zu inputs were given; give a directory\n", inputs.size());
        return 2;
    }
    if (o.depth && !FMT_GetCapability(outRow, FMT_DepthIndex(o.depth))) {
        char ext[16];
        FMT_GetExtension(outRow, ext);
        fprintf(stderr, "kvconvert: %s files can't hold %d-bit images\n", ext, o.depth);
        return 2;
    }
    if (outputIsDir && !o.output.empty() && !IsDirectory(o.output)) {
        fprintf(stderr, "kvconvert: output directory '%s' does not exist\n", o.output.c_str());
        return 2;
    }

    signal(SIGINT, OnInterrupt);
    const auto start = std::chrono::steady_clock::now();
    Job job = {o, inputs, outputIsDir, outRow};
    std::vector<signed char> results(inputs.size(), RESULT_NOT_REACHED);
    int jobs = o.jobs ? o.jobs : CoreCount();
    if (static_cast<size_t>(jobs) > inputs.size()) jobs = static_cast<int>(inputs.size());
    if (jobs > 1) {
        // One bar, or one question on the terminal, from several processes
        // at once would be noise: questions take the --yes/--no answer.
        HDL_SetProgressBar(false);
        HDL_SetInteractive(false);
        RunWorkers(job, jobs, results.data());
    } else {
        for (size_t n = 0; n < inputs.size(); n++) {
            if (UTL_Yield() == 0) break;
            results[n] = static_cast<signed char>(ConvertOne(job, n));
            if (results[n] == RESULT_STOPPED) break;
        }
    }
    HDL_SetContext("");
    int converted = 0, failed = 0, skipped = 0;
    for (signed char r : results) {
        if (r == RESULT_CONVERTED) converted++;
        else if (r == RESULT_SKIPPED) skipped++;
        else if (r == RESULT_FAILED) failed++;
    }
    if (UTL_Yield() == 0) {
        fprintf(stderr, "kvconvert: interrupted after %d of %zu files\n", converted, inputs.size());
        return 130;
    }
    // A file a worker never finished (it died) counts as failed.
    for (signed char r : results) failed += r == RESULT_NOT_REACHED || r == RESULT_STOPPED;
    if (o.progress != 0) {
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        fprintf(stderr, "kvconvert: %d converted, %d failed, %d skipped, %.2f s\n", converted, failed, skipped, seconds);
    }
    return failed || skipped ? 1 : 0;
}
