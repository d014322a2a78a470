// A thin layer over the host's files.
#include <algorithm>

#include <zan/files.h>

#include <vokra/memory.h>

long vok_file_fsclose(zan_file_handle file)
{
    return sysfile_close(file);
}

long vok_file_fsread(zan_file_handle file, long *count, void *buffer)
{
    return sysfile_read(file, count, buffer);
}

long vok_file_fswrite(zan_file_handle file, long *count, const void *buffer)
{
    return sysfile_write(file, count, buffer);
}

long vok_file_seteof(zan_file_handle file, long size)
{
    return sysfile_seteof(file, std::max(size, 0L));
}

long vok_file_geteof(zan_file_handle file, long *size)
{
    return sysfile_geteof(file, size);
}

long vok_file_setfpos(zan_file_handle file, long mode, long offset)
{
    return sysfile_setpos(file, mode, offset);
}

long vok_file_getfpos(zan_file_handle file, long *position)
{
    return sysfile_getpos(file, position);
}
