# The statistics export: its unit tests link the export's objects beside the static library, and
# a program linked the way a consumer links mediastores::observe writes an exposition that
# promtool must accept.
if(TARGET mediastores_observe_tests)
  target_link_libraries(mediastores_observe_tests PRIVATE mediastores_observe_objects)

  add_executable(mediastores_observe_exposition ${CMAKE_CURRENT_LIST_DIR}/write_exposition.cc)
  target_link_libraries(mediastores_observe_exposition PRIVATE mediastores::observe)
  add_test(NAME observe.promtool_check_metrics
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/check_exposition.sh
            $<TARGET_FILE:mediastores_observe_exposition>)
  set_tests_properties(observe.promtool_check_metrics PROPERTIES LABELS observe
                       SKIP_RETURN_CODE 77)
endif()
