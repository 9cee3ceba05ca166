// COxUtilFuncTracer: traces entry of a scope on construction and its exit on destruction.
#ifndef MEDIASTORES_PLATFORM_FUNC_TRACER_H_
#define MEDIASTORES_PLATFORM_FUNC_TRACER_H_

class COxUtilFuncTracer {
 public:
  // When `enabled`, traces "Enter, " name args at level 2 now and "Leave, " name at level 2 when
  // destroyed (each line gated by the trace mask). `name` and `args` must outlive the tracer.
  COxUtilFuncTracer(bool enabled, bool reserved, const char* module, const char* name,
                    const char* args);
  ~COxUtilFuncTracer();
  COxUtilFuncTracer(const COxUtilFuncTracer&) = delete;
  COxUtilFuncTracer& operator=(const COxUtilFuncTracer&) = delete;

 private:
  bool m_enabled;
  const char* m_module;
  const char* m_name;
};

#endif  // MEDIASTORES_PLATFORM_FUNC_TRACER_H_
