// Key table of the feature toggles.
#include <iterator>

#include "mediastores/feature_toggle.h"

namespace kelStore {

namespace {

// Configuration keys of the Feature group, indexed by KelFeatureToggleID. Keep the rows in step
// with the enumeration: a key is appended, never inserted or renamed.
constexpr const char* const KelFeatureToggleKeys[] = {
    // General session toggles, the oldest rows of the table.
    "ConnectionTimeEnhancement",                  // 0
    "EnableFastSessionSetup",                     // 1
    "session-early-media-start",                  // 2
    "media-packet-loss-recording-audio-session",  // 3
    "EnableCallQualityMonitor",                   // 4
    "EnableMusicDetection",                       // 5
    "EnablClipVolumeCtl",                         // 6
    "EnableInherentLossProbing",                  // 7

    // Audio codecs: Opus and its fallbacks.
    "EnableOpusDtx",                    // 8
    "EnableOpusInbandFec",              // 9
    "opus-stereo-send",                 // 10
    "EnableOpusFullBand",               // 11
    "opus-adaptive-complexity",         // 12
    "opus-low-bitrate-mode",            // 13
    "opus-frame-size-60ms",             // 14
    "EnableOpusMusicMode",              // 15
    "EnableOpusCbr",                    // 16
    "OpusBitrateAdaptation",            // 17
    "EnableG722Fallback",               // 18
    "EnableG711Passthrough",            // 19
    "audio-codec-renegotiation",        // 20
    "EnableAacLdForContent",            // 21
    "EnableNeuralLowBitrateCodec",      // 22
    "EnableComfortNoise",               // 23
    "comfort-noise-rfc3389",            // 24
    "EnableVadForDtx",                  // 25
    "audio-sample-rate-48k-default",    // 26
    "EnableAudioLevelHeaderExtension",  // 27

    // Acoustic echo cancellation.
    "EnableAcousticEchoCanceller",    // 28
    "EnableAecDelayEstimator",        // 29
    "EnableAecNonlinearProcessing",   // 30
    "aec-residual-echo-suppression",  // 31
    "aec-delay-agnostic-mode",        // 32
    "EnableAecRefSignalResampling",   // 33
    "platform-hardware-aec",          // 34
    "aec-stereo-reference",           // 35
    "EnableDoubleTalkDetector",       // 36
    "EnableEchoReturnLossReport",     // 37
    "mobile-aec-speaker-mode",        // 38

    // Noise suppression.
    "EnableNoiseSuppression",          // 39
    "EnableDeepNoiseSuppression",      // 40
    "ns-aggressive-level",             // 41
    "EnableTypingNoiseDetection",      // 42
    "EnableTransientSuppressor",       // 43
    "audio-high-pass-filter",          // 44
    "noise-suppression-music-bypass",  // 45
    "EnableWindNoiseReduction",        // 46
    "EnableBackgroundVoiceRemoval",    // 47
    "ns-model-low-complexity",         // 48

    // Automatic gain control and loudness.
    "EnableAutomaticGainControl",       // 49
    "EnableAgcDigitalCompression",      // 50
    "EnableAgcAnalogAdaptation",        // 51
    "agc-limiter-enabled",              // 52
    "agc-target-level-adaptive",        // 53
    "EnableAgcClippingPredictor",       // 54
    "EnableAgcSpeechProbabilityGate",   // 55
    "mic-volume-boost",                 // 56
    "agc-input-volume-controller",      // 57
    "EnablePlayoutLoudnessNormalizer",  // 58
    "EnableHowlingSuppression",         // 59

    // Voice activity and speaker detection.
    "EnableVoiceActivityDetection",      // 60
    "EnableActiveSpeakerDetection",      // 61
    "EnableSpeakingWhileMutedAlert",     // 62
    "active-speaker-switch-hysteresis",  // 63
    "EnableDominantSpeakerRanking",      // 64

    // Audio jitter buffer, concealment and mixing.
    "EnableAdaptiveJitterBuffer",         // 65
    "EnableNetEqFastAccelerate",          // 66
    "EnableJitterBufferTimeStretch",      // 67
    "jitter-buffer-delay-peak-detector",  // 68
    "jitter-buffer-min-delay-override",   // 69
    "EnableAudioPlcExpand",               // 70
    "EnableNeuralPacketLossConcealment",  // 71
    "EnablePlayoutDelayHint",             // 72
    "audio-jitter-buffer-max-packets",    // 73
    "EnableJitterBufferFlushOnReset",     // 74
    "audio-playout-underrun-recovery",    // 75
    "EnableRelativeArrivalDelayFilter",   // 76
    "EnableAudioMixerRampUp",             // 77
    "audio-mixer-max-active-streams",     // 78
    "EnableSpatialAudioMixing",           // 79

    // Audio devices and routing.
    "EnableAudioDeviceHotplug",                // 80
    "EnableDefaultDeviceFollowing",            // 81
    "EnableBluetoothScoRouting",               // 82
    "EnableBluetoothA2dpPlayout",              // 83
    "audio-route-speaker-by-default",          // 84
    "audio-route-headset-priority",            // 85
    "EnableUsbAudioDeviceSupport",             // 86
    "EnableCoreAudioVoiceProcessing",          // 87
    "EnableWasapiExclusiveMode",               // 88
    "EnableAAudioLowLatency",                  // 89
    "EnableOpenSlFallback",                    // 90
    "audio-device-restart-on-error",           // 91
    "EnableDeviceBufferSizeAdaptation",        // 92
    "audio-stereo-playout",                    // 93
    "audio-stereo-capture",                    // 94
    "EnableMicMuteDetection",                  // 95
    "audio-capture-silence-detection",         // 96
    "EnableVirtualAudioDeviceFilter",          // 97
    "EnableAudioSessionInterruptionHandling",  // 98
    "audio-ducking-other-apps",                // 99

    // Video codecs and encoder control.
    "EnableH264HighProfile",                // 100
    "EnableH264ConstrainedBaseline",        // 101
    "h264-packetization-mode-one",          // 102
    "EnableH264SpsPpsIdrInKeyframe",        // 103
    "EnableH265Encoder",                    // 104
    "EnableH265Decoder",                    // 105
    "EnableVp8TemporalLayers",              // 106
    "EnableVp9ProfileTwo",                  // 107
    "vp9-k-svc-mode",                       // 108
    "vp9-flexible-mode",                    // 109
    "EnableAv1Encoder",                     // 110
    "EnableAv1Decoder",                     // 111
    "av1-screen-content-tools",             // 112
    "EnableAv1DependencyDescriptor",        // 113
    "av1-realtime-speed-ten",               // 114
    "EnableVideoCodecSwitching",            // 115
    "video-codec-preference-av1-first",     // 116
    "EnableEncoderComplexityAdaptation",    // 117
    "EnableQpBasedResolutionScaling",       // 118
    "video-quality-scaler",                 // 119
    "video-encoder-cpu-overuse-detection",  // 120
    "EnableKeyframeRequestThrottling",      // 121
    "EnableIntraRefresh",                   // 122
    "video-long-term-reference-frames",     // 123
    "EnableRoiEncoding",                    // 124
    "EnableContentAdaptiveEncoding",        // 125

    // Hardware encode and decode.
    "EnableHardwareH264Encoder",        // 126
    "EnableHardwareH264Decoder",        // 127
    "EnableHardwareHevcEncoder",        // 128
    "EnableHardwareHevcDecoder",        // 129
    "EnableHardwareVp9Decoder",         // 130
    "EnableHardwareAv1Decoder",         // 131
    "hw-encoder-fallback-to-software",  // 132
    "hw-decoder-fallback-to-software",  // 133
    "EnableMediaCodecAsyncMode",        // 134
    "EnableVideoToolboxLowLatency",     // 135
    "EnableNvencEncoder",               // 136
    "EnableQuickSyncEncoder",           // 137
    "EnableD3d11VideoDecoder",          // 138
    "EnableVaapiDecoder",               // 139
    "hw-encoder-blocklist-check",       // 140
    "EnableZeroCopyTextureInput",       // 141

    // Video capture and pre-processing.
    "EnableCameraResolutionFallback",      // 142
    "EnableCameraFrameRateAdaptation",     // 143
    "camera-capture-30fps-cap",            // 144
    "EnableVideoDenoiser",                 // 145
    "EnableLowLightEnhancement",           // 146
    "video-background-blur",               // 147
    "EnableVirtualBackground",             // 148
    "video-auto-framing",                  // 149
    "EnableFaceDetectionRoi",              // 150
    "EnableVideoFrameDropper",             // 151
    "video-capture-rotation-by-metadata",  // 152
    "EnableMirroredSelfView",              // 153
    "EnableVideoStabilization",            // 154

    // Video receive side: frame buffer, decoding and rendering.
    "EnableVideoJitterBufferV2",        // 155
    "video-jitter-buffer-frame-delay",  // 156
    "EnableVideoLowLatencyRenderer",    // 157
    "EnableDecodeTimeEstimator",        // 158
    "video-render-vsync-alignment",     // 159
    "renderer-metal-backend",           // 160
    "EnableOpenGlRenderer",             // 161
    "EnableD3d11Renderer",              // 162
    "EnableVulkanRenderer",             // 163
    "render-frame-drop-on-overload",    // 164
    "EnableHdrVideoRendering",          // 165
    "EnableRenderSmoothing",            // 166
    "video-render-scaling-bilinear",    // 167
    "EnableFirstFrameFastRender",       // 168
    "EnableVideoFreezeDetection",       // 169
    "video-freeze-recovery-keyframe",   // 170

    // Simulcast and scalable video layers.
    "EnableSimulcast",                       // 171
    "video-simulcast-three-layers",          // 172
    "video-simulcast-two-layers",            // 173
    "EnableSimulcastLayerAllocation",        // 174
    "EnableSimulcastScreenShare",            // 175
    "simulcast-layer-suspension",            // 176
    "EnableSvcL1T3",                         // 177
    "EnableSvcL3T3Key",                      // 178
    "svc-spatial-layer-switching",           // 179
    "svc-temporal-layer-drop",               // 180
    "EnableScalabilityModeNegotiation",      // 181
    "EnableLayerSelectionByBandwidth",       // 182
    "EnableLayerSelectionByViewport",        // 183
    "EnableReceiverLayerRequest",            // 184
    "simulcast-resolution-alignment",        // 185
    "EnableSvcKeyframeOnLayerChange",        // 186
    "EnableDependencyDescriptorForwarding",  // 187

    // Screen share.
    "EnableScreenShare",                   // 188
    "EnableScreenShareTextMode",           // 189
    "screen-share-motion-detection",       // 190
    "EnableScreenShareFrameRateBoost",     // 191
    "screen-share-high-resolution",        // 192
    "screen-share-window-capture",         // 193
    "EnableDesktopDuplicationCapture",     // 194
    "EnablePipeWireCapture",               // 195
    "EnableScreenCaptureKit",              // 196
    "screen-share-cursor-overlay",         // 197
    "EnableScreenShareAudio",              // 198
    "screen-share-exclude-own-window",     // 199
    "EnableRegionCapture",                 // 200
    "screen-share-slide-change-detect",    // 201
    "EnableScreenShareLowLatencyMode",     // 202
    "EnableScreenShareAnnotations",        // 203
    "screen-share-lossless-text-regions",  // 204
    "EnableScreenShareBandwidthPriority",  // 205
    "EnableRemoteControlRequest",          // 206

    // Bandwidth estimation and congestion control.
    "EnableTransportCcFeedback",           // 207
    "EnableSendSideBwe",                   // 208
    "EnableReceiveSideBwe",                // 209
    "EnableLossBasedBweV2",                // 210
    "bwe-delay-based-trendline",           // 211
    "bwe-acknowledged-bitrate-estimator",  // 212
    "EnableBweAlrProbing",                 // 213
    "EnableBweRobustThroughput",           // 214
    "congestion-window-pushback",          // 215
    "EnableCongestionWindow",              // 216
    "EnableBitrateAllocationByPriority",   // 217
    "EnableAudioInBandwidthEstimate",      // 218
    "bwe-initial-estimate-from-history",   // 219
    "EnableBweStartupRampUp",              // 220
    "EnableBbrCongestionControl",          // 221
    "EnableScreamCongestionControl",       // 222
    "EnableL4sEcnFeedback",                // 223
    "bwe-mobile-network-backoff",          // 224
    "EnableBandwidthCapFromServer",        // 225
    "EnableUplinkBandwidthReport",         // 226
    "EnableDownlinkBandwidthReport",       // 227
    "bwe-loss-based-rate-control",         // 228
    "EnableNetworkStateEstimator",         // 229

    // Network probing and transport.
    "EnableNetworkProbing",             // 230
    "probe-initial-bandwidth-burst",    // 231
    "probe-periodic-alr-burst",         // 232
    "EnableProbeClusterPadding",        // 233
    "EnableRttProbing",                 // 234
    "network-path-mtu-discovery",       // 235
    "EnableIceLiteMode",                // 236
    "EnableIceContinualGathering",      // 237
    "EnableIceConsentFreshness",        // 238
    "ice-candidate-network-cost",       // 239
    "turn-over-tls",                    // 240
    "EnableTurnTcpFallback",            // 241
    "ice-ipv6-candidates",              // 242
    "EnableMdnsCandidates",             // 243
    "network-switch-fast-recovery",     // 244
    "EnableWifiCellularHandover",       // 245
    "EnableMultipathTransport",         // 246
    "EnableRtcpMux",                    // 247
    "EnableRtpHeaderExtensionTwoByte",  // 248
    "EnableQuicTransport",              // 249
    "EnableDscpMarking",                // 250
    "transport-socket-buffer-tuning",   // 251
    "EnableUdpGsoSend",                 // 252
    "nat-keepalive-stun-binding",       // 253

    // Loss resilience: FEC, RED, NACK and retransmission.
    "EnableUlpFec",                      // 254
    "video-flexfec-03",                  // 255
    "EnableVideoRed",                    // 256
    "EnableAudioRed",                    // 257
    "audio-red-distance-two",            // 258
    "EnableNack",                        // 259
    "nack-rtt-based-retry",              // 260
    "nack-max-packet-age-limit",         // 261
    "EnableRtx",                         // 262
    "EnableRtxPayloadPadding",           // 263
    "fec-adaptive-protection-level",     // 264
    "fec-unequal-protection-keyframes",  // 265
    "EnableLossBasedFecRatio",           // 266
    "EnablePliOnDecodeError",            // 267
    "EnableFirRequest",                  // 268
    "rtp-packet-history-smart-trim",     // 269
    "EnableLossNotification",            // 270
    "red-audio-only-on-loss",            // 271
    "EnableHybridNackFec",               // 272

    // Packet pacing.
    "EnablePacketPacing",                 // 273
    "EnablePacerBurstInterval",           // 274
    "pacer-audio-priority-queue",         // 275
    "pacer-drain-large-queue",            // 276
    "EnablePacerPaddingInAlr",            // 277
    "EnablePacerDynamicProcessInterval",  // 278
    "pacer-keyframe-burst-spread",        // 279
    "EnableAudioPacingBypass",            // 280
    "pacer-max-queue-time-2s",            // 281

    // Statistics reporting.
    "EnableStatsReporting",          // 282
    "EnableQualityStatsUpload",      // 283
    "stats-report-interval-2s",      // 284
    "stats-per-layer-reporting",     // 285
    "EnableFreezeStatistics",        // 286
    "EnableJitterBufferStats",       // 287
    "EnableConcealmentStatistics",   // 288
    "EnableEncoderStatsCollection",  // 289
    "EnableDecoderStatsCollection",  // 290
    "EnableNetworkStatsCollection",  // 291
    "stats-mos-estimation",          // 292
    "EnablePacketLossHistogram",     // 293
    "EnableRoundTripTimeStats",      // 294
    "EnableAudioQualityScore",       // 295
    "EnableVideoQualityScore",       // 296
    "stats-cpu-usage-sampling",      // 297
    "EnableBatteryUsageStats",       // 298
    "EnableThermalStateReporting",   // 299
    "stats-media-path-latency",      // 300
    "EnableEndToEndDelayEstimate",   // 301
    "EnableCallSummaryReport",       // 302
    "stats-upload-compression",      // 303

    // Diagnostics and debug recording.
    "EnableRtpDump",                  // 304
    "EnableAudioDebugRecording",      // 305
    "EnableEncodedFrameDump",         // 306
    "diagnostics-rtc-event-log",      // 307
    "EnableMediaCrashBreadcrumbs",    // 308
    "EnableVerboseNetworkTrace",      // 309
    "diagnostics-ice-candidate-log",  // 310
    "EnableRemoteLogCollection",      // 311

    // Audio/video synchronisation.
    "EnableAudioVideoSync",          // 312
    "av-sync-max-drift-correction",  // 313
    "EnableRtcpSenderReportSync",    // 314
    "EnableAbsoluteCaptureTime",     // 315
    "av-sync-audio-master-clock",    // 316
    "EnableLipSyncForScreenShare",   // 317

    // Media security and data channels.
    "EnableSrtpAesGcm",                 // 318
    "EnableEncryptedHeaderExtensions",  // 319
    "EnableEndToEndEncryption",         // 320
    "e2ee-key-ratcheting",              // 321
    "EnableDataChannel",                // 322
    "datachannel-sctp-zero-checksum",   // 323
    "EnableRtpPayloadTypeValidation",   // 324

    // CPU, power and resource adaptation.
    "EnableCpuAdaptation",           // 325
    "EnableThermalThrottling",       // 326
    "power-saving-low-fps-mode",     // 327
    "EnableBatterySaverVideoCap",    // 328
    "EnableBackgroundVideoSuspend",  // 329
    "resource-adaptation-balanced",  // 330
    "EnableMemoryPressureHandling",  // 331
    "EnableMultiThreadedEncoding",   // 332
    "EnableMultiThreadedDecoding",   // 333

    // Catch-all.
    "KEL_FT_Unknow",  // 334
};

static_assert(std::size(KelFeatureToggleKeys) == kKelFeatureToggleCount,
              "one key per feature toggle id");
static_assert(KEL_FT_Unknow + 1 == kKelFeatureToggleCount, "the catch-all toggle is the last id");

}  // namespace

const char* KelFeatureToggleKey(KelFeatureToggleID id) {
  return id < kKelFeatureToggleCount ? KelFeatureToggleKeys[id] : nullptr;
}

}  // namespace kelStore
