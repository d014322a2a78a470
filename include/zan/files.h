/* Paths, files, dialogs and script text. A path is a 16-bit identifier of a folder:
 * 0 is the current one, any other is negative (a positive one would mean a file
 * inside a collective, which this host doesn't have). A file name is text within a
 * folder, perhaps with folders in it; a full name stands for itself whatever the
 * path. A file type is a four-character code ('JPEG') packed big-endian, told by a
 * file's first bytes, else by its extension, else 0; a folder's is 'fold'. Names
 * filled in by these calls have room for ZAN_NAME_SIZE bytes. Any thread; a file
 * handle belongs to one thread at a time. Results are 0, a host error number or a
 * positive errno. */
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
    long date; /* seconds since 1970 */
    long size; /* bytes */
    uint32_t type;
    long flags; /* 1: a folder */
} zan_fileinfo;

/* Finds a file: a full or relative name as it stands, else along the search path
 * (folders added, $VOKRA_PATH, the user's data folder, the installed one). 0: `name`
 * (no longer than before, or ZAN_NAME_SIZE), *path and *outtype are set, else they
 * are left alone. A type list prefers: a file of a listed type wins over one found
 * earlier; a name without an extension is tried with those of the types; when only
 * files of other types are there, the first is taken, so that the caller can say
 * what is wrong with it. Folders are found when no file is. */
ZAN_EXPORT short locatefile_extended(char *name, short *path, uint32_t *outtype, const uint32_t *typelist,
                                     short numtypes);
/* Adds a folder to the front of the search path; ENOTDIR or the like if it is none. */
ZAN_EXPORT long path_addsearchpath(const char *folder);
/* The folders searched, in order, `index` from 0; non-zero past the last. They needn't
 * be there. Those of open patches come first (the one in the making ahead of all), then
 * the current one. */
ZAN_EXPORT short path_getsearchpath(long index, char *folder);
/* The same where box classes are looked for, externals and patches: the folder of the
 * patch in the making (else those of open patches, else the current one), those added,
 * $VOKRA_PATH, the user's data folder, the installed one. */
ZAN_EXPORT short path_getclasspath(long index, char *folder);
/* permission 1 read, 2 write, 3 both; the file must be there. *file null on error. */
ZAN_EXPORT long path_opensysfile(const char *name, short path, zan_file_handle *file, short permission);
/* Creates or replaces, open for reading and writing. */
ZAN_EXPORT long path_createsysfile(const char *name, short path, uint32_t type, zan_file_handle *file);
/* Splits a full name, or a relative one with a folder in it, into the identifier of
 * its folder and the name there; non-zero, and nothing set, when the folder isn't
 * there or none is named. */
ZAN_EXPORT short path_frompotentialpathname(const char *text, short *path, char *name);
/* The absolute name of a file in a folder; non-zero for an unknown identifier. */
ZAN_EXPORT short path_topathname(short path, const char *name, char *fullname);
ZAN_EXPORT short path_fileinfo(const char *name, short path, zan_fileinfo *info);
ZAN_EXPORT short path_getdefault(void);
ZAN_EXPORT short path_tempfolder(void);
/* The name with its `.`, `..` and doubled slashes taken out. Every style is the
 * native one; type 0 leaves it otherwise as it is, 2 makes it relative to the
 * current folder where it lies inside, any other makes it absolute. */
ZAN_EXPORT short path_nameconform(const char *src, char *dst, long style, long type);
/* "folder/name" into its two parts; the folder is empty when there is none. */
ZAN_EXPORT void path_splitnames(const char *fullname, char *folder, char *name);
/* The folder "packages/NAME" of a search folder; 0 when no package has the name. */
ZAN_EXPORT short packages_getpackagepath(const char *name);

/* `*count` is in and out: bytes asked for, bytes moved. A short move at the end of
 * the file is no error. Small writes are gathered: a full disk may show only at
 * sysfile_seteof or sysfile_close. */
ZAN_EXPORT long sysfile_read(zan_file_handle file, long *count, void *buffer);
ZAN_EXPORT long sysfile_write(zan_file_handle file, long *count, const void *buffer);
ZAN_EXPORT long sysfile_getpos(zan_file_handle file, long *position);
/* mode 1 from the start, 2 from the end, 3 from the present place. A place before
 * the start is an error. */
ZAN_EXPORT long sysfile_setpos(zan_file_handle file, long mode, long offset);
ZAN_EXPORT long sysfile_geteof(zan_file_handle file, long *size);
ZAN_EXPORT long sysfile_seteof(zan_file_handle file, long size);
ZAN_EXPORT long sysfile_close(zan_file_handle file);
/* Copies the whole of src over the whole of dst; both stand at their ends after. */
ZAN_EXPORT long sysfile_spoolcopy(zan_file_handle src, zan_file_handle dst, uint32_t type);
/* Reads from the present place to the end, or at most `maxsize` bytes (0: all).
 * Line ends become \n (flag 1 keeps them), a byte order mark goes; flag 8 keeps
 * every byte. The handle is resized to the bytes; flag 4 ends them with a NUL,
 * which its size counts. */
ZAN_EXPORT long sysfile_readtextfile(zan_file_handle file, zan_handle text, long maxsize, long flags);
/* Writes the handle's bytes at the present place and ends the file there. Line ends
 * become \n but for flags 1 and 8; with flag 4 an ending NUL is left out. */
ZAN_EXPORT long sysfile_writetextfile(zan_file_handle file, zan_handle text, long flags);

/* Dialogs: non-zero when cancelled, as they are unless the embedder set an answer
 * (zan_set_dialog_answer). Open: the answer must be there; its type is told. Save:
 * its folder must; when the answer is a folder, the name given in is kept, in it. */
ZAN_EXPORT short open_dialog(char *name, short *path, uint32_t *type, const uint32_t *types, short numtypes);
ZAN_EXPORT short saveasdialog_extended(char *name, short *path, uint32_t *type, const uint32_t *types,
                                       short numtypes);
/* The next dialog takes a relative answer from the folder that the last dialog of
 * the same key ended in, not from the current one. */
ZAN_EXPORT void dialog_setkey(uint32_t key);
ZAN_EXPORT short getfolder(short *path);

/* Script text: messages ended by semicolons (a comma sends another message to the
 * same receiver), the first word of each the name of a receiver, whose `thing`
 * gets the rest. An unknown receiver or message is an error with its line, and the
 * next message runs. Where a message would begin, "# " (or ## or #!) begins a comment
 * up to the end of the line. Words are written as readatom reads them. */
ZAN_EXPORT void *binbuf_new(void);
/* Reads a script file. A file that can't be opened gives the error of path_opensysfile
 * and no report; text that is no script is reported with its line. */
ZAN_EXPORT short binbuf_read(void *buffer, const char *name, short path, short flags);
/* Replaces the contents from memory (a negative size: up to the NUL); host error
 * number, with the line reported, and then nothing is held. At most 64 MiB. */
ZAN_EXPORT long binbuf_settext(void *buffer, const char *text, long size);
/* With a receiver, every message goes to it, but one with a semicolon of its own at
 * its start (";name message", "a; ;name message") still names its receiver. argc, argv
 * stand for $1, $2... (0 where missing). The result of the last message that ran. */
ZAN_EXPORT void *binbuf_eval(void *buffer, long argc, atom *argv, void *receiver);
/* The atoms held (*argv is good until they change), semicolons and commas as their tags. */
ZAN_EXPORT long binbuf_getatoms(void *buffer, long *argc, atom **argv);

#ifdef __cplusplus
}
#endif
#endif
