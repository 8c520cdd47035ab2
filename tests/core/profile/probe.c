/* Asks the Windows profile functions the questions in a case list and prints
 * their answers, one line a case, for the INI reader's golden file.
 *
 *   probe.exe CORPUS_DIR SCRATCH_DIR < cases.txt > golden.txt
 *
 * A case line is tab-separated, texts as hex bytes ("-" for none):
 *   ID S FILE SECTION KEY SIZE     GetPrivateProfileStringA, default ""
 *   ID I FILE SECTION KEY DEFAULT  GetPrivateProfileIntA
 *   ID N FILE SIZE                 GetPrivateProfileSectionNamesA
 *   ID W FILE SECTION KEY VALUE    WritePrivateProfileStringA on a copy
 * An answer line is "ID<TAB>RESULT<TAB>BYTES": the returned count or value,
 * and the text the caller finds in its buffer as hex: the buffer is filled
 * with NULs first, as a caller's String(size, 0) is, and read up to the first
 * NUL (N: up to the returned count; W: the whole file after the write).
 * Lines starting with '#' are comments. */
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static char *unhex(const char *hex)
{
    if (strcmp(hex, "-") == 0)
        return NULL;
    size_t n = strlen(hex) / 2;
    char *out = malloc(n + 1);
    for (size_t i = 0; i < n; ++i) {
        unsigned v;
        sscanf(hex + 2 * i, "%2x", &v);
        out[i] = (char)v;
    }
    out[n] = 0;
    return out;
}

static void hexout(const char *bytes, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        printf("%02x", (unsigned char)bytes[i]);
    if (n == 0)
        printf("-");
}

static char *slurp(const char *path, size_t *size)
{
    FILE *f = fopen(path, "rb");
    *size = 0;
    if (!f)
        return NULL;
    char *data = malloc(1 << 20);
    *size = fread(data, 1, 1 << 20, f);
    fclose(f);
    return data;
}

int main(int argc, char **argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: probe CORPUS_DIR SCRATCH_DIR < cases\n");
        return 2;
    }
    static char line[65536];
    _setmode(_fileno(stdout), _O_BINARY); /* lines end in LF */
    printf("# ACP %u\n", GetACP());
    while (fgets(line, sizeof line, stdin)) {
        line[strcspn(line, "\r\n")] = 0;
        if (line[0] == '#' || line[0] == 0)
            continue;
        char *field[8] = {0};
        int n = 0;
        for (char *p = line; p && n < 8;) { /* empty fields are empty texts */
            field[n++] = p;
            p = strchr(p, '\t');
            if (p)
                *p++ = 0;
        }
        if (n < 4)
            continue;
        const char *id = field[0];
        const char kind = field[1][0];
        char path[MAX_PATH];
        snprintf(path, sizeof path, "%s\\%s", argv[1], field[2]);
        if (kind == 'S' && n >= 6) {
            char *sec = unhex(field[3]), *key = unhex(field[4]);
            DWORD size = (DWORD)atoi(field[5]);
            char *buf = malloc(size + 16);
            memset(buf, 0, size + 16);
            DWORD got = GetPrivateProfileStringA(sec, key, "", buf, size, path);
            printf("%s\t%lu\t", id, (unsigned long)got);
            hexout(buf, strnlen(buf, size));
            printf("\n");
            free(buf);
        } else if (kind == 'I' && n >= 6) {
            char *sec = unhex(field[3]), *key = unhex(field[4]);
            UINT got = GetPrivateProfileIntA(sec, key, atoi(field[5]), path);
            printf("%s\t%d\t-\n", id, (int)got);
        } else if (kind == 'N' && n >= 4) {
            DWORD size = (DWORD)atoi(field[3]);
            char *buf = malloc(size + 16);
            memset(buf, 0, size + 16);
            DWORD got = GetPrivateProfileSectionNamesA(buf, size, path);
            printf("%s\t%lu\t", id, (unsigned long)got);
            hexout(buf, got);
            printf("\n");
            free(buf);
        } else if (kind == 'W' && n >= 6) {
            char *sec = unhex(field[3]), *key = unhex(field[4]), *value = unhex(field[5]);
            char copy[MAX_PATH];
            snprintf(copy, sizeof copy, "%s\\w%s.ini", argv[2], id);
            DeleteFileA(copy);
            CopyFileA(path, copy, FALSE);
            BOOL ok = WritePrivateProfileStringA(sec, key, value, copy);
            WritePrivateProfileStringA(NULL, NULL, NULL, copy); /* flush the cache */
            size_t size;
            char *data = slurp(copy, &size);
            printf("%s\t%d\t", id, ok ? 1 : 0);
            hexout(data ? data : "", size);
            printf("\n");
            free(data);
        }
        fflush(stdout);
    }
    return 0;
}
