// Attribute and attachment keys of CoreVideo: constant strings.
#include <CoreVideo/CoreVideo.h>

const CFStringRef kCVBufferPropagatedAttachmentsKey = CFSTR("PropagatedAttachments");
const CFStringRef kCVBufferNonPropagatedAttachmentsKey = CFSTR("NonPropagatedAttachments");
const CFStringRef kCVBufferMovieTimeKey = CFSTR("QTMovieTime");
const CFStringRef kCVBufferTimeValueKey = CFSTR("TimeValue");
const CFStringRef kCVBufferTimeScaleKey = CFSTR("TimeScale");

const CFStringRef kCVImageBufferCGColorSpaceKey = CFSTR("CVImageBufferCGColorSpace");
const CFStringRef kCVImageBufferFieldCountKey = CFSTR("CVFieldCount");
const CFStringRef kCVImageBufferPixelAspectRatioKey = CFSTR("CVPixelAspectRatio");
const CFStringRef kCVImageBufferYCbCrMatrixKey = CFSTR("CVImageBufferYCbCrMatrix");
const CFStringRef kCVImageBufferYCbCrMatrix_ITU_R_709_2 = CFSTR("ITU_R_709_2");
const CFStringRef kCVImageBufferYCbCrMatrix_ITU_R_601_4 = CFSTR("ITU_R_601_4");
const CFStringRef kCVImageBufferColorPrimariesKey = CFSTR("CVImageBufferColorPrimaries");
const CFStringRef kCVImageBufferColorPrimaries_ITU_R_709_2 = CFSTR("ITU_R_709_2");
const CFStringRef kCVImageBufferTransferFunctionKey = CFSTR("CVImageBufferTransferFunction");
const CFStringRef kCVImageBufferTransferFunction_ITU_R_709_2 = CFSTR("ITU_R_709_2");
const CFStringRef kCVImageBufferChromaLocationTopFieldKey = CFSTR("CVImageBufferChromaLocationTopField");
const CFStringRef kCVImageBufferChromaLocationBottomFieldKey = CFSTR("CVImageBufferChromaLocationBottomField");
const CFStringRef kCVImageBufferChromaLocation_Left = CFSTR("Left");
const CFStringRef kCVImageBufferChromaLocation_Center = CFSTR("Center");

const CFStringRef kCVPixelBufferPixelFormatTypeKey = CFSTR("PixelFormatType");
const CFStringRef kCVPixelBufferMemoryAllocatorKey = CFSTR("MemoryAllocator");
const CFStringRef kCVPixelBufferWidthKey = CFSTR("Width");
const CFStringRef kCVPixelBufferHeightKey = CFSTR("Height");
const CFStringRef kCVPixelBufferExtendedPixelsLeftKey = CFSTR("ExtendedPixelsLeft");
const CFStringRef kCVPixelBufferExtendedPixelsTopKey = CFSTR("ExtendedPixelsTop");
const CFStringRef kCVPixelBufferExtendedPixelsRightKey = CFSTR("ExtendedPixelsRight");
const CFStringRef kCVPixelBufferExtendedPixelsBottomKey = CFSTR("ExtendedPixelsBottom");
const CFStringRef kCVPixelBufferBytesPerRowAlignmentKey = CFSTR("BytesPerRowAlignment");
const CFStringRef kCVPixelBufferCGBitmapContextCompatibilityKey = CFSTR("CGBitmapContextCompatibility");
const CFStringRef kCVPixelBufferCGImageCompatibilityKey = CFSTR("CGImageCompatibility");
const CFStringRef kCVPixelBufferOpenGLCompatibilityKey = CFSTR("OpenGLCompatibility");
const CFStringRef kCVPixelBufferPlaneAlignmentKey = CFSTR("PlaneAlignment");
const CFStringRef kCVPixelBufferIOSurfacePropertiesKey = CFSTR("IOSurfaceProperties");
const CFStringRef kCVPixelBufferMetalCompatibilityKey = CFSTR("MetalCompatibility");

const CFStringRef kCVPixelBufferPoolMinimumBufferCountKey = CFSTR("MinimumBufferCount");
const CFStringRef kCVPixelBufferPoolMaximumBufferAgeKey = CFSTR("MaximumBufferAge");
const CFStringRef kCVPixelBufferPoolAllocationThresholdKey = CFSTR("AllocationThreshold");
const CFStringRef kCVPixelBufferPoolFreeBufferNotification = CFSTR("kCVPixelBufferPoolFreeBufferNotification");
