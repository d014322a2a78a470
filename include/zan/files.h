/* Paths, files, dialogs and script text. A path is a 16-bit identifier of a folder
 * (0 is the current one), a file name text within it; a file type is a
 * four-character code ('JPEG') packed big-endian. Names given to these calls have
 * room for ZAN_NAME_SIZE bytes. */
#ifndef ZAN_FILES_H
#define ZAN_FILES_H
#include <zan/base.h>
#include <zan/memory.h>
#ifdef __cplusplus
extern "C" {
#endif

enum { ZAN_NAME_SIZE = 2048 };
typedef struct zan_file *zan_file_handle;
typedef struct zan_fileinfo {
    long date;  /* seconds since 1970 */
    long size;  /* bytes */
    uint32_t type;
    long flags; /* 1: a folder */
} zan_fileinfo;

/* Finds a file along the search path (a full or relative name as it stands first).
 * 0: `name`, *path and *outtype are set; `typelist` limits what is accepted. */
ZAN_EXPORT short locatefile_extended(char *name, short *path, uint32_t *outtype, const uint32_t *typelist,
                                     short numtypes);
/* Adds a folder to the front of the search path / the list of them. */
ZAN_EXPORT long path_addsearchpath(const char *folder);
/* permission 1 read, 2 write, 3 both. Host error number or a positive errno. */
ZAN_EXPORT long path_opensysfile(const char *name, short path, zan_file_handle *file, short permission);
/* Creates or replaces, open for reading and writing. */
ZAN_EXPORT long path_createsysfile(const char *name, short path, uint32_t type, zan_file_handle *file);
/* Splits a full name into the identifier of its folder and the name in it; non-zero
 * when the folder isn't there. */
ZAN_EXPORT short path_frompotentialpathname(const char *text, short *path, char *name);
/* The absolute name of a file in a folder; non-zero for an unknown identifier. */
ZAN_EXPORT short path_topathname(short path, const char *name, char *fullname);
ZAN_EXPORT short path_fileinfo(const char *name, short path, zan_fileinfo *info);
ZAN_EXPORT short path_getdefault(void);
ZAN_EXPORT short path_tempfolder(void);
/* style 2 native with slashes, 3 the same; type 0 ignore, 1 absolute, 2 relative,
 * 3 boot, 4 C74. The name in its asked-for form. */
ZAN_EXPORT short path_nameconform(const char *src, char *dst, long style, long type);
/* "folder/name" into its two parts. */
ZAN_EXPORT void path_splitnames(const char *fullname, char *folder, char *name);
ZAN_EXPORT short packages_getpackagepath(const char *name);

/* `*count` is in and out: bytes asked for, bytes moved. A short move is no error. */
ZAN_EXPORT long sysfile_read(zan_file_handle file, long *count, void *buffer);
ZAN_EXPORT long sysfile_write(zan_file_handle file, long *count, const void *buffer);
ZAN_EXPORT long sysfile_getpos(zan_file_handle file, long *position);
/* mode 1 from the start, 2 from the end, 3 from the present place. */
ZAN_EXPORT long sysfile_setpos(zan_file_handle file, long mode, long offset);
ZAN_EXPORT long sysfile_geteof(zan_file_handle file, long *size);
ZAN_EXPORT long sysfile_seteof(zan_file_handle file, long size);
ZAN_EXPORT long sysfile_close(zan_file_handle file);
/* Copies the whole of src to dst. */
ZAN_EXPORT long sysfile_spoolcopy(zan_file_handle src, zan_file_handle dst, uint32_t type);
/* Line ends become \n (flag 1 keeps them), a byte order mark goes; flag 8 keeps
 * every byte. maxsize 0: all. The handle holds the bytes and is not ended by NUL
 * unless flag 4 is set. */
ZAN_EXPORT long sysfile_readtextfile(zan_file_handle file, zan_handle text, long maxsize, long flags);
ZAN_EXPORT long sysfile_writetextfile(zan_file_handle file, zan_handle text, long flags);

/* Dialogs: non-zero when cancelled, as they are unless the embedder set an answer
 * (zan_set_dialog_answer). */
ZAN_EXPORT short open_dialog(char *name, short *path, uint32_t *type, const uint32_t *types, short numtypes);
ZAN_EXPORT short saveasdialog_extended(char *name, short *path, uint32_t *type, const uint32_t *types,
                                       short numtypes);
ZAN_EXPORT void dialog_setkey(uint32_t key);
ZAN_EXPORT short getfolder(short *path);

/* Script text: messages ended by semicolons (a comma sends another message to the
 * same receiver), the first word of each the name of a receiver, whose `thing`
 * gets the rest. An unknown receiver or message is an error with its line, and the
 * next message runs. */
ZAN_EXPORT void *binbuf_new(void);
ZAN_EXPORT short binbuf_read(void *buffer, const char *name, short path, short flags);
/* Replaces the contents from memory; host error number, with the line reported. */
ZAN_EXPORT long binbuf_settext(void *buffer, const char *text, long size);
/* With a receiver, every message goes to it. argc, argv stand for $1, $2... */
ZAN_EXPORT void *binbuf_eval(void *buffer, long argc, atom *argv, void *receiver);
/* The atoms held, semicolons and commas as their tags. */
ZAN_EXPORT long binbuf_getatoms(void *buffer, long *argc, atom **argv);

#ifdef __cplusplus
}
#endif
#endif
