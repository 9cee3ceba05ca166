# The benchmark summary's judgement of goals (marks and the --check exit status).
find_program(MEDIASTORES_PYTHON3 python3)
if(MEDIASTORES_PYTHON3)
  add_test(NAME bench.summary_check
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/bench/check_summary.sh
            ${PROJECT_SOURCE_DIR}/bench/summarize.py)
  set_tests_properties(bench.summary_check PROPERTIES LABELS bench)
endif()
