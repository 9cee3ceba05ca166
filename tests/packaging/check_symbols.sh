#!/usr/bin/env bash
# Checks the dynamic symbols of libmediastores.so: the plain entry points are exported unmangled,
# the timer instantiations are exported, every export carries the version node MEDIASTORES_2.0,
# and no internal class leaks out.
# Usage: check_symbols.sh <libmediastores.so> <include/mediastores dir>
set -u
lib=$1
include_dir=$2
versioned=$(nm -D --defined-only "$lib" | awk '$2 != "A" {print $3}')
raw=$(sed 's/@.*//' <<<"$versioned")
demangled=$(nm -DC --defined-only "$lib" | awk '$2 != "A"' | cut -d' ' -f3- | sed 's/@@MEDIASTORES_2\.0$//')
failures=0

unversioned=$(grep -v -- '@@MEDIASTORES_2\.0$' <<<"$versioned")
if [ -n "$unversioned" ]; then
  echo "exports without the version node MEDIASTORES_2.0:"
  echo "$unversioned" | head -10
  failures=$((failures + 1))
fi

require_plain() {
  for name in "$@"; do
    if ! grep -qx -- "$name" <<<"$raw"; then
      echo "missing unmangled export: $name"
      failures=$((failures + 1))
    fi
  done
}

# Platform hooks a host process needs.
require_plain get_external_trace_mask set_external_trace_mask util_adapter_trace \
  set_util_trace_sink ox_assertion_report set_ox_assertion_handler get_mock_time set_mock_time \
  GetThreadSelfId

# Each area is checked once its public header is part of the library.
if [ -f "$include_dir/safe_lib.h" ]; then
  require_plain memcpy_s memset_s strncpy_s strnlen_s set_constraint_handler_s dcdi_handler_s \
    invoke_safe_mem_constraint_handler invoke_safe_str_constraint_handler safe_init_logger \
    safe_log safe_enable_backtrace safe_log_backtrace safe_constraint_handler \
    safe_desired_log_lvl safe_log_func
fi
if [ -f "$include_dir/timer_fact.h" ]; then
  for policy in timer_policy tick_policy low_tick_policy; do
    if ! grep -q -- "^timer_fact<$policy>::elapsed() const$" <<<"$demangled"; then
      echo "missing export: timer_fact<$policy>"
      failures=$((failures + 1))
    fi
  done
fi
if [ -f "$include_dir/kel_config.h" ]; then
  require_plain CreateKelConfig ReleaseKelConfig CleanUpKelConfig DestroyKelConfig \
    GetKelConfigSizeForUT GetKelConfigValue GetKelConfigValueEx
fi
if [ -f "$include_dir/kel_config_helper.h" ]; then
  if ! grep -q -- "^kelStore::KelConfigHelper::" <<<"$demangled"; then
    echo "missing export: kelStore::KelConfigHelper"
    failures=$((failures + 1))
  fi
fi
if [ -f "$include_dir/mediastores_entity.h" ]; then
  require_plain createMediastoresEntity releaseMediastoresEntity
fi

# Internal classes stay inside the library.
internal='kelStore::KelConfig::|KelConfigObserverMgr|KelConfigObserverHelper|ConfigEventHandler|CSwitchThreadEvent|CKelMediastores|StatisticInfo|atomMap|COxTextFormator|COxUtilFuncTracer|CKelUnknownImpl|KelTrace|KelAssertFailed|ExtractClassFunctionName'
leaked=$(grep -E -- "$internal" <<<"$demangled")
if [ -n "$leaked" ]; then
  echo "internal symbols exported:"
  echo "$leaked" | head -20
  failures=$((failures + 1))
fi

if [ "$failures" -ne 0 ]; then
  echo "symbol check failed ($failures problems)"
  exit 1
fi
echo "symbol check passed: $(wc -l <<<"$raw") exported symbols"
