# mediastores-demo --http: cpp-httplib serves the exposition (mediastores::observe), the recent
# figures and the dashboard page, which is built into the program from dashboard.html. Without
# httplib.h the demo builds without --http.
find_path(MEDIASTORES_HTTPLIB_INCLUDE_DIR httplib.h)
if(NOT MEDIASTORES_HTTPLIB_INCLUDE_DIR OR NOT TARGET mediastores_observe)
  message(STATUS "mediastores-demo: no httplib.h (or no mediastores::observe), built without --http")
  return()
endif()
# Debian's package is the header plus a shared library whose build options change the header's
# types; its pkg-config file carries both. Elsewhere httplib.h is the whole library.
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
  pkg_check_modules(MEDIASTORES_HTTPLIB QUIET IMPORTED_TARGET cpp-httplib)
endif()
if(TARGET PkgConfig::MEDIASTORES_HTTPLIB)
  target_link_libraries(mediastores-demo PRIVATE PkgConfig::MEDIASTORES_HTTPLIB)
else()
  find_package(Threads REQUIRED)
  target_include_directories(mediastores-demo SYSTEM PRIVATE ${MEDIASTORES_HTTPLIB_INCLUDE_DIR})
  target_link_libraries(mediastores-demo PRIVATE Threads::Threads)
endif()
target_link_libraries(mediastores-demo PRIVATE mediastores::observe)
target_compile_definitions(mediastores-demo PRIVATE MEDIASTORES_DEMO_HTTP=1)

file(READ ${CMAKE_CURRENT_LIST_DIR}/dashboard.html MEDIASTORES_DEMO_DASHBOARD)
configure_file(${CMAKE_CURRENT_LIST_DIR}/dashboard_page.h.in
  ${PROJECT_BINARY_DIR}/generated/mediastores-demo/dashboard_page.h @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${CMAKE_CURRENT_LIST_DIR}/dashboard.html)
target_include_directories(mediastores-demo PRIVATE ${PROJECT_BINARY_DIR}/generated)
