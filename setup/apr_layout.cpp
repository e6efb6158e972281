// Apache and its runtime are compiled elsewhere: whatever we share with them must have the size
// that they were built with. The headers of another architecture, or a changed width of time_t or
// off_t, would give wrong layouts without a warning; here they stop the build.
#include <apr.h>
#include <apr_time.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>

static_assert(APR_SIZEOF_VOIDP == sizeof(void*), "APR was built for another pointer size");
static_assert(sizeof(apr_size_t) == sizeof(std::size_t));
static_assert(sizeof(apr_ssize_t) == sizeof(ssize_t));
static_assert(sizeof(apr_off_t) == sizeof(off64_t), "APR was built with another offset size");
static_assert(sizeof(apr_int64_t) == 8 && sizeof(apr_time_t) == 8);
static_assert(sizeof(std::time_t) == sizeof(long), "the packaged server keeps the classic time_t");
