# Tests that run the built tools and examples: the GoogleTest executable mediastores_tools_tests (from the
# *_test.cc files here) gets the programs' paths, and the examples run in-tree and against the
# installed package.
if(TARGET mediastores_tools_tests AND TARGET mediastores-demo AND TARGET mediastores-config)
  target_compile_definitions(mediastores_tools_tests PRIVATE
    MEDIASTORES_DEMO_PATH="$<TARGET_FILE:mediastores-demo>"
    MEDIASTORES_CONFIG_PATH="$<TARGET_FILE:mediastores-config>"
    MEDIASTORES_CONFIG_DOCUMENTS="${CMAKE_CURRENT_LIST_DIR}/config_documents.tsv")
  add_dependencies(mediastores_tools_tests mediastores-demo mediastores-config)
endif()
if(TARGET mediastores-config)
  add_test(NAME tools.config_schema
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/check_schema.sh $<TARGET_FILE:mediastores-config>
            ${CMAKE_CURRENT_LIST_DIR}/config_documents.tsv)
  set_tests_properties(tools.config_schema PROPERTIES LABELS tools)
endif()

foreach(example config_module stats_pipeline)
  if(TARGET mediastores_example_${example})
    add_test(NAME examples.${example} COMMAND mediastores_example_${example})
    set_tests_properties(examples.${example} PROPERTIES LABELS examples)
  endif()
endforeach()

if(TARGET mediastores_example_config_module)
  set(MEDIASTORES_EXAMPLE_FLAGS "")
  if(MEDIASTORES_SANITIZE STREQUAL "address")
    set(MEDIASTORES_EXAMPLE_FLAGS "-fsanitize=address,undefined")
  elseif(MEDIASTORES_SANITIZE STREQUAL "thread")
    set(MEDIASTORES_EXAMPLE_FLAGS "-fsanitize=thread")
  endif()
  add_test(NAME packaging.installed_examples
    COMMAND bash ${PROJECT_SOURCE_DIR}/tests/packaging/check_examples.sh
            ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/examples
            ${CMAKE_CXX_COMPILER} "${MEDIASTORES_EXAMPLE_FLAGS}")
  set_tests_properties(packaging.installed_examples PROPERTIES LABELS "packaging;examples"
                       TIMEOUT 600)
endif()
