/* A host that loads the library as a plug-in, again and again, and forks.
 *
 * plugin_host LIBRARY IPv4:port TURNS    QUORLAN_HOME names its home. The server answers every
 *                                        request well and without a result.
 * Exit status 0 when every expectation held, and nothing of the process was changed. */
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <locale.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Lexo.h"

#define EXPECT(condition)                                                          \
    do {                                                                           \
        if (!(condition)) {                                                        \
            fprintf(stderr, "plugin_host:%d: failed: %s\n", __LINE__, #condition); \
            exit(1);                                                               \
        }                                                                          \
    } while (0)

/* Names that the library has within, as a host would have them that links the same sources:
 * exported by this program, they must not be taken for the library's own. */
char g_logger[64];
void _ZN10OrvexProxy11GetInstanceEv(void) {
    abort();
}
void _ZN14ConnectionPool11GetInstanceEv(void) {
    abort();
}
void _ZN6quorlan8protocol13MessageHeaderC1EPN6google8protobuf5ArenaEb(void) {
    abort();
}

typedef struct {
    void* handle;
    Lexo_ErrCode (*init)(const char*);
    Lexo_ErrCode (*end)(void);
    Lexo_ErrCode (*start)(const char*, Lexo_Handle*);
    Lexo_ErrCode (*stop)(Lexo_Handle);
    Lexo_ErrCode (*recognize)(Lexo_Handle, const char*, int, int, Lexo_RecogStatus*);
} Engine;

/* What belongs to the host alone. */
typedef struct {
    struct sigaction signals[65];
    sigset_t mask;
    char locale[256];
    char folder[4096];
    mode_t umask;
    struct stat streams[3];
    int threads;
} Surroundings;

static void Look(Surroundings* seen) {
    DIR* tasks = opendir("/proc/self/task");
    memset(seen, 0, sizeof *seen);
    for (int i = 1; i < 65; ++i) sigaction(i, NULL, &seen->signals[i]);
    pthread_sigmask(SIG_BLOCK, NULL, &seen->mask);
    strncpy(seen->locale, setlocale(LC_ALL, NULL), sizeof seen->locale - 1);
    EXPECT(getcwd(seen->folder, sizeof seen->folder) != NULL);
    seen->umask = umask(0);
    umask(seen->umask);
    for (int i = 0; i < 3; ++i) {
        fstat(i, &seen->streams[i]);
        memset(&seen->streams[i].st_size, 0, sizeof seen->streams[i].st_size);
        memset(&seen->streams[i].st_blocks, 0, sizeof seen->streams[i].st_blocks);
        memset(&seen->streams[i].st_atim, 0, 3 * sizeof seen->streams[i].st_atim);
    }
    while (readdir(tasks) != NULL) ++seen->threads;
    closedir(tasks);
}

/* A fork handler of the host's own. */
static Lexo_ErrCode (*g_stop)(Lexo_Handle);
static void CallWhileForking(void) {
    EXPECT(g_stop((Lexo_Handle)-1) == LEXO_ERR_SESSION_INVALID);
}

static void Load(const char* path, const char* address, Engine* engine) {
    engine->handle = dlopen(path, RTLD_NOW | RTLD_GLOBAL);
    EXPECT(engine->handle != NULL);
    *(void**)&engine->init = dlsym(engine->handle, "orvx_proxy_Init");
    *(void**)&engine->end = dlsym(engine->handle, "orvx_proxy_End");
    *(void**)&engine->start = dlsym(engine->handle, "orvx_proxy_SessionStart");
    *(void**)&engine->stop = dlsym(engine->handle, "orvx_proxy_SessionStop");
    *(void**)&engine->recognize = dlsym(engine->handle, "orvx_proxy_Recognize");
    if (g_stop == NULL) {
        EXPECT(pthread_atfork(CallWhileForking, CallWhileForking, CallWhileForking) == 0);
    }
    g_stop = engine->stop;
    EXPECT(engine->init(address) == LEXO_ERR_NONE);
}

static void* Call(void* argument) {
    const Engine* const engine = argument;
    Lexo_Handle session = NULL;
    Lexo_RecogStatus status = -1;
    EXPECT(engine->start("grammar", &session) == LEXO_ERR_NONE);
    EXPECT(engine->recognize(session, "audio", 5, 0, &status) == LEXO_ERR_NONE && status == 0);
    EXPECT(engine->stop(session) == LEXO_ERR_NONE);
    return NULL;
}

/* The thread that used the library is gone before the library is. */
static void TakeTurn(const char* path, const char* address) {
    Engine engine;
    pthread_t caller;
    Load(path, address, &engine);
    EXPECT(pthread_create(&caller, NULL, Call, &engine) == 0 && pthread_join(caller, NULL) == 0);
    EXPECT(engine.end() == LEXO_ERR_NONE && dlclose(engine.handle) == 0);
}

static const Engine* g_engine;
static volatile sig_atomic_t g_is_over;

static void* KeepCalling(void* unused) {
    while (!g_is_over) Call((void*)g_engine);
    return unused;
}

static void Recognize(Lexo_Handle session, const char* audio) {
    Lexo_RecogStatus status = -1;
    EXPECT(g_engine->recognize(session, audio, (int)strlen(audio), 0, &status) == LEXO_ERR_NONE);
}

/* Children that start the engine anew leave the parent's session and connections alone, while
 * another thread of the parent calls all the time. */
static void ForkWithAnOpenSession(const char* path, const char* address) {
    Engine engine;
    Lexo_Handle session = NULL;
    pthread_t caller;
    g_engine = &engine;
    Load(path, address, &engine);
    EXPECT(engine.start("grammar", &session) == LEXO_ERR_NONE);
    EXPECT(pthread_create(&caller, NULL, KeepCalling, NULL) == 0);
    for (int i = 0; i < 30; ++i) {
        int status = -1;
        pid_t child;
        Recognize(session, "parent");
        child = fork();
        if (child == 0) {
            Lexo_Handle own = NULL;
            alarm(20);
            EXPECT(engine.init(address) == LEXO_ERR_NONE);
            EXPECT(engine.start("grammar", &own) == LEXO_ERR_NONE);
            Recognize(own, "child");
            _exit(0);
        }
        EXPECT(waitpid(child, &status, 0) == child && status == 0);
    }
    g_is_over = 1;
    pthread_join(caller, NULL);
    EXPECT(engine.stop(session) == LEXO_ERR_NONE && engine.end() == LEXO_ERR_NONE);
}

/* The sanitizers' memory stays locked in a child that is forked while another thread takes some. */
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
static int Sockets(void) {
    int count = 0;
    for (int number = 0; number < 1000; ++number) {
        struct stat is;
        if (fstat(number, &is) == 0 && S_ISSOCK(is.st_mode)) ++count;
    }
    return count;
}

static char** g_arguments;

static void* KeepLoading(void* unused) {
    while (!g_is_over) TakeTurn(g_arguments[1], g_arguments[2]);
    return unused;
}

/* Children forked in the middle of whatever Init does hold no connection of it. */
static void ForkBesideInit(void) {
    const int before = Sockets();
    pthread_t loader;
    g_is_over = 0;
    EXPECT(pthread_create(&loader, NULL, KeepLoading, NULL) == 0);
    for (int i = 0; i < 200; ++i) {
        int status = -1;
        const pid_t child = fork();
        if (child == 0) _exit(Sockets() - before);
        EXPECT(waitpid(child, &status, 0) == child && status == 0);
    }
    g_is_over = 1;
    pthread_join(loader, NULL);
}
#endif

int main(int argc, char** argv) {
    static Surroundings before;
    static Surroundings after;
    EXPECT(argc == 4);
    Look(&before);
    for (int turn = 0; turn < atoi(argv[3]); ++turn) TakeTurn(argv[1], argv[2]);
    Look(&after);
    for (int i = 1; i < 65; ++i) {
        EXPECT(before.signals[i].sa_handler == after.signals[i].sa_handler);
        EXPECT(before.signals[i].sa_flags == after.signals[i].sa_flags);
    }
    EXPECT(memcmp(&before.mask, &after.mask, sizeof before.mask) == 0);
    EXPECT(strcmp(before.locale, after.locale) == 0 && strcmp(before.folder, after.folder) == 0);
    EXPECT(before.umask == after.umask && before.threads == after.threads);
    EXPECT(memcmp(before.streams, after.streams, sizeof before.streams) == 0);
    ForkWithAnOpenSession(argv[1], argv[2]);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    g_arguments = argv;
    ForkBesideInit();
#endif
    return 0;
}
