# Every outside component as one imported target; all of them are Debian 12 packages.

find_package(PkgConfig REQUIRED)
pkg_check_modules(APR REQUIRED IMPORTED_TARGET apr-1 apr-util-1)
find_package(XercesC REQUIRED)
find_program(APXS NAMES apxs apxs2 REQUIRED)
execute_process(COMMAND ${APXS} -q INCLUDEDIR
  OUTPUT_VARIABLE HTTPD_INCLUDE_DIR OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

# Apache's own headers; its functions are resolved by the server that loads us.
add_library(LiveView::httpd INTERFACE IMPORTED)
target_include_directories(LiveView::httpd SYSTEM INTERFACE ${HTTPD_INCLUDE_DIR})
target_link_libraries(LiveView::httpd INTERFACE PkgConfig::APR)

find_path(RAPIDJSON_INCLUDE_DIR rapidjson/document.h REQUIRED)
add_library(LiveView::rapidjson INTERFACE IMPORTED)
target_include_directories(LiveView::rapidjson SYSTEM INTERFACE ${RAPIDJSON_INCLUDE_DIR})
target_compile_definitions(LiveView::rapidjson INTERFACE RAPIDJSON_HAS_STDSTRING=1)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND LV_SANITIZE MATCHES "undefined")
  # The library adds offsets to a stack pointer that is null before the stack's first use.
  target_compile_options(LiveView::rapidjson INTERFACE
    -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/rapidjson_ignorelist.txt)
endif()

find_path(NATS_INCLUDE_DIR nats/nats.h REQUIRED)
find_library(NATS_LIBRARY nats REQUIRED)
add_library(LiveView::nats INTERFACE IMPORTED)
target_include_directories(LiveView::nats SYSTEM INTERFACE ${NATS_INCLUDE_DIR})
target_link_libraries(LiveView::nats INTERFACE ${NATS_LIBRARY})

# For the tests' own bus server with TLS.
find_package(OpenSSL REQUIRED)

find_path(WSLAY_INCLUDE_DIR wslay/wslay.h REQUIRED)
find_library(WSLAY_LIBRARY wslay REQUIRED)
add_library(LiveView::wslay INTERFACE IMPORTED)
target_include_directories(LiveView::wslay SYSTEM INTERFACE ${WSLAY_INCLUDE_DIR})
target_link_libraries(LiveView::wslay INTERFACE ${WSLAY_LIBRARY})

find_path(SECCOMP_INCLUDE_DIR seccomp.h REQUIRED)
find_library(SECCOMP_LIBRARY seccomp REQUIRED)
add_library(LiveView::seccomp INTERFACE IMPORTED)
target_include_directories(LiveView::seccomp SYSTEM INTERFACE ${SECCOMP_INCLUDE_DIR})
target_link_libraries(LiveView::seccomp INTERFACE ${SECCOMP_LIBRARY})
