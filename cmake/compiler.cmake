# The language, the warnings and the sanitizers that everything of ours is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_package(Threads REQUIRED)

add_library(lv_options INTERFACE)
target_compile_options(lv_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
target_link_libraries(lv_options INTERFACE Threads::Threads)

# What makes a mistake in memory an end rather than a way in. Sanitizers bring their own checks, and the
# library's need an optimising compiler.
include(CheckPIESupported)
check_pie_supported()
target_compile_options(lv_options INTERFACE -fstack-protector-strong -fstack-clash-protection)
target_link_options(lv_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
if(NOT LV_SANITIZE)
  target_compile_options(lv_options INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=3>)
endif()

if(LV_SANITIZE)
  target_compile_options(lv_options INTERFACE -fsanitize=${LV_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(lv_options INTERFACE -fsanitize=${LV_SANITIZE})
  if(LV_SANITIZE MATCHES "undefined")
    target_compile_options(lv_options INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()
