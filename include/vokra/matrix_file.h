/* The vkf matrix file: one matrix of type char, long, float32 or float64 in a chunked
 * file, every number big-endian, rows without padding.
 *
 * All functions take an open host file handle and give 0, a host file error or a code
 * of the library. They run on the calling thread and wait for the file. `dim` is an
 * array of at least two 32-bit counts, one a dimension. */
#ifndef VOKRA_MATRIX_FILE_H
#define VOKRA_MATRIX_FILE_H

#include <vokra/matrix_info.h>
#include <zan/files.h>

VOKRA_BEGIN_C

enum {
    VOK_BIN_FORM = 0x464F524D,     /* "FORM" */
    VOK_BIN_FORMTYPE = 0x564F4B21, /* "VOK!", also the host's file type */
    VOK_BIN_FVER = 0x46564552,     /* "FVER" */
    VOK_BIN_MTRX = 0x4D545258,     /* "MTRX" */
    VOK_BIN_CHAR = 0x43484152,     /* "CHAR" */
    VOK_BIN_LONG = 0x4C4F4E47,     /* "LONG" */
    VOK_BIN_FL32 = 0x464C3332,     /* "FL32" */
    VOK_BIN_FL64 = 0x464C3634,     /* "FL64" */
    VOK_BIN_VERSION = 0x3C93DC80,  /* the version that is written; any is read */
    VOK_BIN_HEADER_SIZE = 24,      /* the matrix chunk starts here */
    VOK_BIN_CHUNK_SIZE = 24        /* of the matrix chunk ahead of its dims */
};

/* Goes to the start and writes the 24 bytes ahead of the matrix chunk. A file is
 * written as: header with size 0, matrix, position, seteof, header with the size. */
VOKRA_EXPORT vok_err vok_bin_write_header(zan_file_handle file, long filesize);
/* Goes to the start and reads them. Both outputs are 0 for a file of fewer bytes.
 * EROR when neither mark of the form, or neither of the version, is right. */
VOKRA_EXPORT vok_err vok_bin_read_header(zan_file_handle file, long *version, long *filesize);
/* Id and size of the chunk at the present position, which stays where it is. */
VOKRA_EXPORT vok_err vok_bin_read_chunk_info(zan_file_handle file, long *chunkid, long *chunksize);

/* Writes the matrix chunk at the present position. EROR without data or for another
 * type. A short write (a full disk that the host didn't report) gives 0. */
VOKRA_EXPORT vok_err vok_bin_write_matrix(zan_file_handle file, void *matrix);
/* Reads the matrix chunk at the present position and gives the matrix its shape, as setinfo
 * does: a planecount or dim out of range is brought into it, and what setinfo refuses
 * (OMEM for more cells than a matrix can have) is the result. EROR, the matrix untouched:
 * another chunk or type, a dimcount outside 0 to 32, an end before the dims are told.
 * A file that ends too early gives 0: the matrix has its shape, and the cells that
 * didn't come are as they were. vok_bin_matrix_filesize tells what the file should
 * have had. */
VOKRA_EXPORT vok_err vok_bin_read_matrix(zan_file_handle file, void *matrix);
/* Bytes of the whole file that holds a matrix of this description; 0 for a type that
 * can't be stored. A file read with 0 whose end (sysfile_geteof) lies before it has
 * been cut short. */
VOKRA_EXPORT long vok_bin_matrix_filesize(const vok_matrix_info *info);

/* The cells alone. dim[1] is written when dimcount is 1. */
VOKRA_EXPORT vok_err vok_bin_write_matrix_ndim(zan_file_handle file, long dimcount, int32_t *dim,
                                               const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_read_matrix_ndim(zan_file_handle file, long dimcount, int32_t *dim,
                                              const vok_matrix_info *info, unsigned char *data);

/* dim[1] rows of dim[0] cells, one file call a row. */
VOKRA_EXPORT vok_err vok_bin_write_matrix_char(zan_file_handle file, const int32_t *dim,
                                               const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_write_matrix_long(zan_file_handle file, const int32_t *dim,
                                               const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_write_matrix_float32(zan_file_handle file, const int32_t *dim,
                                                  const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_write_matrix_float64(zan_file_handle file, const int32_t *dim,
                                                  const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_read_matrix_char(zan_file_handle file, const int32_t *dim,
                                              const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_read_matrix_long(zan_file_handle file, const int32_t *dim,
                                              const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_read_matrix_float32(zan_file_handle file, const int32_t *dim,
                                                 const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT vok_err vok_bin_read_matrix_float64(zan_file_handle file, const int32_t *dim,
                                                 const vok_matrix_info *info, unsigned char *data);

VOKRA_END_C
#endif
