# Checks of what the library ships: the dynamic symbol surface of libmediastores.so, and the
# installed package as a separate project finds it (CMake package and pkg-config file).

add_test(NAME packaging.exported_symbols
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/packaging/check_symbols.sh
          $<TARGET_FILE:mediastores> ${PROJECT_SOURCE_DIR}/include/mediastores)
set_tests_properties(packaging.exported_symbols PROPERTIES LABELS packaging)

# Flags the consumer needs to link a sanitized library.
set(MEDIASTORES_CONSUMER_FLAGS "")
if(MEDIASTORES_SANITIZE STREQUAL "address")
  set(MEDIASTORES_CONSUMER_FLAGS "-fsanitize=address,undefined")
elseif(MEDIASTORES_SANITIZE STREQUAL "thread")
  set(MEDIASTORES_CONSUMER_FLAGS "-fsanitize=thread")
endif()

add_test(NAME packaging.installed_consumer
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/packaging/check_install.sh
          ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/packaging/consumer
          ${CMAKE_CXX_COMPILER} "${MEDIASTORES_CONSUMER_FLAGS}")
set_tests_properties(packaging.installed_consumer PROPERTIES LABELS packaging TIMEOUT 600)

add_test(NAME packaging.subproject
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/packaging/check_subproject.sh ${PROJECT_SOURCE_DIR}
          ${CMAKE_CXX_COMPILER})
set_tests_properties(packaging.subproject PROPERTIES LABELS packaging TIMEOUT 300)
