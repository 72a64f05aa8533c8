/*
 * call_floor.c - the floor of chronex's per-frame algorithm, for the
 * benchmark: the sequential yardstick (limit_patch.c, same discovery, order,
 * output and appended blocks) changed to make exactly the system calls that
 * chronex's header read and header write make, and nothing else. Reading a
 * header: open read-only, seek to the end (the size), pread the 2048-byte
 * block, close. Writing one (only where the timecode word differs): open
 * read-write in append mode, seek to the end, pread the block on disk and
 * compare its version text, write the whole block, close. So 4 calls per
 * frame already right and 9 per patched frame, against the yardstick's 3
 * and 4. Its CPU time over the yardstick's is the best ratio any program
 * doing chronex's per-frame algorithm can reach on the machine at hand.
 *
 * Simplifications: those of the yardstick (-t only HH:MM:SS:FF, rates above
 * 0, non-drop counting, no wildcard pre-filter).
 *
 * Build: gcc -O2 -o call_floor call_floor.c
 * Use:   call_floor DIR/plate.0000001.dpx [-f FPS] [-t HH:MM:SS:FF]
 */
#define _GNU_SOURCE
#include <ctype.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#define HDR 2048

static const char USAGE[] =
    "Usage: Chronex input [-f FPS] [-t value]\n"
    "  input    - sequence to patch (sequence#.dpx)\n"
    "  -f FPS   - desired frame rate (24 FPS by default)\n"
    "  -t value - starting time code (00:00:00:00 by default)";

/* The tool's number cut of a bare file name: "plate.0001.dpx" ->
 * "plate.#.dpx", "plate.0001" -> "plate..#", "plate.dpx" unchanged. */
static void cut_number(const char *name, char *out, size_t cap)
{
    size_t len = strlen(name);
    const char *dot = strrchr(name, '.');
    size_t stem = dot ? (size_t)(dot - name) : len;   /* name part length */
    size_t end, d;

    if (dot && len - stem > 1 && isdigit((unsigned char)name[len - 1])) {
        /* extension case: digits at the end of the extension (not its dot) */
        for (d = len; d > stem + 1 && isdigit((unsigned char)name[d - 1]); d--)
            ;
        /* name + rest of extension, split again at its last dot */
        const char *dot2 = NULL;
        for (size_t i = 0; i < d; i++)
            if (name[i] == '.')
                dot2 = name + i;
        size_t n2 = (size_t)(dot2 - name);            /* dot2 exists: stem's dot */
        snprintf(out, cap, "%.*s.%.*s.#", (int)n2, name,
                 (int)(d - n2 - 1), dot2 + 1);
        return;
    }
    for (end = stem; end > 0 && isdigit((unsigned char)name[end - 1]); end--)
        ;
    if (end == stem) {                                 /* no number */
        snprintf(out, cap, "%s", name);
        return;
    }
    snprintf(out, cap, "%.*s#.%s", (int)end, name, dot ? dot + 1 : "");
}

static int cmp_path(const void *a, const void *b)
{
    int c = strcmp(*(char *const *)a, *(char *const *)b);
    return (c > 0) - (c < 0);
}

static unsigned bcd(unsigned v) { return (((v / 10) << 4) | (v % 10)) & 0xFF; }
static unsigned unbcd(unsigned b) { return (b & 15) + 10 * (b >> 4); }

/* names listed in the folder's ".hidden" file, newline/CR separated */
static char *hidden_buf;
static int is_listed_hidden(const char *name)
{
    for (char *p = hidden_buf; p && *p;) {
        size_t n = strcspn(p, "\r\n");
        if (n && strlen(name) == n && strncasecmp(p, name, n) == 0)
            return 1;
        p += n;
        p += strspn(p, "\r\n");
    }
    return 0;
}

int main(int argc, char **argv)
{
    static char obuf[1 << 20];
    setvbuf(stdout, obuf, _IOFBF, sizeof obuf);

    puts("VELOMA DPX Time Code Patching Utility 1.0\n");
    if (argc < 2) {
        puts(USAGE);
        return -1;
    }

    double fps = 24.0;
    int fps_given = 0, tc_given = 0;
    unsigned th = 0, tm = 0, ts = 0, tf = 0;
    for (int i = 2; i < argc; i += 2) {
        int is_f = strcasecmp(argv[i], "-f") == 0;
        if (!is_f && strcasecmp(argv[i], "-t") != 0) {
            puts(USAGE);
            return -3;
        }
        if (i + 1 >= argc) {
            puts(USAGE);
            return -2;
        }
        const char *v = argv[i + 1];
        if (is_f) {
            char *endp;
            v += strspn(v, "\n\t \r");
            fps = strtod(v, &endp);
            if (endp == v || endp[strspn(endp, "\n\t \r")] != '\0' || !(fps > 1e-9)) {
                puts(USAGE);
                return -3;
            }
            fps_given = 1;
        } else {
            char extra;
            unsigned base = (unsigned)(fps + 0.5);
            if (sscanf(v, "%u:%u:%u:%u%c", &th, &tm, &ts, &tf, &extra) != 4 ||
                th > 23 || tm > 59 || ts > 59 || tf >= (base ? base : 1)) {
                puts(USAGE);
                return -3;
            }
            tc_given = 1;
        }
    }
    unsigned base = (unsigned)(fps + 0.5);
    if (base == 0)
        base = 1;
    unsigned long per_day = (unsigned long)base * 86400;
    unsigned long start = ((unsigned long)th * 3600 + tm * 60 + ts) * base + tf;

    /* discovery: list the folder once, keep members of the input's key */
    const char *input = argv[1];
    const char *slash = strrchr(input, '/');
    char dir[4096], key[1024], cut[1024];
    if (slash)
        snprintf(dir, sizeof dir, "%.*s", (int)(slash - input + 1), input);
    else
        strcpy(dir, "./");
    size_t dlen = strlen(dir);
    cut_number(slash ? slash + 1 : input, key, sizeof key);

    char hpath[4200];
    snprintf(hpath, sizeof hpath, "%s.hidden", dir);
    int hfd = open(hpath, O_RDONLY);
    if (hfd >= 0) {
        struct stat st;
        if (fstat(hfd, &st) == 0 && (hidden_buf = calloc(1, st.st_size + 1)))
            if (read(hfd, hidden_buf, st.st_size) < 0)
                hidden_buf[0] = 0;
        close(hfd);
    }

    size_t count = 0, cap = 1024;
    char **paths = malloc(cap * sizeof *paths);
    DIR *dp = opendir(dir);
    struct dirent *de;
    while (dp && (de = readdir(dp))) {
        const char *nm = de->d_name;
        if (nm[0] == '.' || (hidden_buf && is_listed_hidden(nm)))
            continue;
        cut_number(nm, cut, sizeof cut);
        if (strcasecmp(cut, key) != 0)
            continue;
        size_t nlen = strlen(nm);
        char *p = malloc(dlen + nlen + 1);
        memcpy(p, dir, dlen);
        memcpy(p + dlen, nm, nlen + 1);
        if (de->d_type == DT_DIR) {
            free(p);
            continue;
        }
        if (de->d_type == DT_UNKNOWN || de->d_type == DT_LNK) {
            struct stat st;
            if (stat(p, &st) == 0 && S_ISDIR(st.st_mode)) {
                free(p);
                continue;
            }
        }
        if (count == cap)
            paths = realloc(paths, (cap *= 2) * sizeof *paths);
        paths[count++] = p;
    }
    if (dp)
        closedir(dp);
    if (count == 0) {
        puts("The specified frame sequence could not be found.\n");
        return -4;
    }

    qsort(paths, count, sizeof *paths, cmp_path);
    if (!fps_given)
        puts("Frame rate not specified, using default (24)");
    if (!tc_given)
        puts("Starting time code not specified, using default (00:00:00:00)");
    if (!fps_given || !tc_given)
        putchar('\n');

    unsigned char h[HDR];
    for (size_t n = 0; n < count; n++) {
        const char *path = paths[n];
        printf("%s: ", path + dlen);

        unsigned long c = (start + n) % per_day;
        unsigned wh = c / (base * 3600UL), wm = c / (base * 60UL) % 60,
                 ws = c / base % 60, wf = c % base;
        unsigned want = bcd(wh) | bcd(wm) << 8 | bcd(ws) << 16 | bcd(wf) << 24;

        int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) { puts("error reading DPX header"); continue; }
        if (lseek(fd, 0, SEEK_END) < HDR || pread(fd, h, HDR, 0) != HDR ||
            !(memcmp(h, "SDPX", 4) == 0 || memcmp(h, "XPDS", 4) == 0) ||
            !(memcmp(h + 660, "\0\0\0\0", 4) == 0 ||
              memcmp(h + 660, "\xff\xff\xff\xff", 4) == 0)) {
            puts("error reading DPX header");
            close(fd);
            continue;
        }
        close(fd);
        unsigned oh = unbcd(h[1920]), om = unbcd(h[1921]), os = unbcd(h[1922]),
                 of = unbcd(h[1923]);
        unsigned have = bcd(oh) | bcd(om) << 8 | bcd(os) << 16 | bcd(of) << 24;
        if (have == want) {
            printf("%02u:%02u:%02u:%02u (doesn't need updating)\n", wh, wm, ws, wf);
        } else {
            h[1920] = (unsigned char)want;
            h[1921] = (unsigned char)(want >> 8);
            h[1922] = (unsigned char)(want >> 16);
            h[1923] = (unsigned char)(want >> 24);
            unsigned char h2[HDR];
            fd = open(path, O_RDWR | O_APPEND | O_NONBLOCK | O_CLOEXEC);
            int bad = fd < 0 || lseek(fd, 0, SEEK_END) < HDR || pread(fd, h2, HDR, 0) != HDR ||
                strncasecmp((char*)h2 + 8, (char*)h + 8, 8) != 0 || write(fd, h, HDR) != HDR;
            if (fd >= 0 && close(fd) != 0) bad = 1;
            if (bad)
                puts("error writing DPX header");
            else
                printf("%02u:%02u:%02u:%02u -> %02u:%02u:%02u:%02u\n", oh, om, os, of,
                       wh, wm, ws, wf);
            continue;
        }
    }
    return 0;
}
