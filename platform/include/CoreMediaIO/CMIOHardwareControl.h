// Controls (brightness, focus, ...) that devices may publish as objects: their class ids and
// properties.
#ifndef ZAV_PLATFORM_CMIOHARDWARECONTROL_H
#define ZAV_PLATFORM_CMIOHARDWARECONTROL_H

#include <CoreMediaIO/CMIOHardwareObject.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

typedef CMIOObjectID CMIOControlID;

enum {
    kCMIOControlClassID = 0x6163746C,         /* 'actl' */
    kCMIOBooleanControlClassID = 0x746F676C,  /* 'togl' */
    kCMIOSelectorControlClassID = 0x736C6374, /* 'slct' */
    kCMIOFeatureControlClassID = 0x66746374,  /* 'ftct' */
};

// Boolean controls.
enum {
    kCMIOJackControlClassID = 0x6A61636B,      /* 'jack' */
    kCMIODirectionControlClassID = 0x64697265, /* 'dire' */
};

// Selector controls.
enum {
    kCMIODataSourceControlClassID = 0x64737263,      /* 'dsrc' */
    kCMIODataDestinationControlClassID = 0x64657374, /* 'dest' */
};

// Feature controls.
enum {
    kCMIOBlackLevelControlClassID = 0x626B6C76,            /* 'bklv' */
    kCMIOWhiteLevelControlClassID = 0x77686C76,            /* 'whlv' */
    kCMIOHueControlClassID = 0x68756520,                   /* 'hue ' */
    kCMIOSaturationControlClassID = 0x73617475,            /* 'satu' */
    kCMIOContrastControlClassID = 0x63747374,              /* 'ctst' */
    kCMIOSharpnessControlClassID = 0x73687270,             /* 'shrp' */
    kCMIOBrightnessControlClassID = 0x62726974,            /* 'brit' */
    kCMIOGainControlClassID = 0x6761696E,                  /* 'gain' */
    kCMIOIrisControlClassID = 0x69726973,                  /* 'iris' */
    kCMIOShutterControlClassID = 0x73687472,               /* 'shtr' */
    kCMIOExposureControlClassID = 0x78707372,              /* 'xpsr' */
    kCMIOWhiteBalanceUControlClassID = 0x77686275,         /* 'whbu' */
    kCMIOWhiteBalanceVControlClassID = 0x77686276,         /* 'whbv' */
    kCMIOWhiteBalanceControlClassID = 0x7768626C,          /* 'whbl' */
    kCMIOGammaControlClassID = 0x676D6D61,                 /* 'gmma' */
    kCMIOTemperatureControlClassID = 0x74656D70,           /* 'temp' */
    kCMIOZoomControlClassID = 0x7A6F6F6D,                  /* 'zoom' */
    kCMIOFocusControlClassID = 0x66637573,                 /* 'fcus' */
    kCMIOPanControlClassID = 0x70616E20,                   /* 'pan ' */
    kCMIOTiltControlClassID = 0x74696C74,                  /* 'tilt' */
    kCMIOOpticalFilterClassID = 0x6F706674,                /* 'opft' */
    kCMIOBacklightCompensationControlClassID = 0x626B6C74, /* 'bklt' */
    kCMIOPowerLineFrequencyControlClassID = 0x70776671,    /* 'pwfq' */
    kCMIONoiseReductionControlClassID = 0x73326E72,        /* 's2nr' */
    kCMIOPanTiltAbsoluteControlClassID = 0x70746162,       /* 'ptab' */
    kCMIOPanTiltRelativeControlClassID = 0x7074726C,       /* 'ptrl' */
    kCMIOZoomRelativeControlClassID = 0x7A6F6D72,          /* 'zomr' */
    kCMIORollAbsoluteControlClassID = 0x726F6C61,          /* 'rola' */
};

// Properties of every control.
enum {
    kCMIOControlPropertyScope = 0x63736370,   /* 'cscp' */
    kCMIOControlPropertyElement = 0x63656C6D, /* 'celm' */
    kCMIOControlPropertyVariant = 0x63766172, /* 'cvar' */
};

enum {
    kCMIOBooleanControlPropertyValue = 0x6263766C, /* 'bcvl' */
};

enum {
    kCMIOSelectorControlPropertyCurrentItem = 0x73636369,    /* 'scci' */
    kCMIOSelectorControlPropertyAvailableItems = 0x73636169, /* 'scai' */
    kCMIOSelectorControlPropertyItemName = 0x7363696E,       /* 'scin' */
};

enum {
    kCMIOFeatureControlPropertyOnOff = 0x66636F6F,                   /* 'fcoo' */
    kCMIOFeatureControlPropertyAutomaticManual = 0x6663616D,         /* 'fcam' */
    kCMIOFeatureControlPropertyAbsoluteNative = 0x66636E61,          /* 'fcna' */
    kCMIOFeatureControlPropertyTune = 0x6663746E,                    /* 'fctn' */
    kCMIOFeatureControlPropertyNativeValue = 0x66636E76,             /* 'fcnv' */
    kCMIOFeatureControlPropertyAbsoluteValue = 0x66636176,           /* 'fcav' */
    kCMIOFeatureControlPropertyNativeRange = 0x66636E72,             /* 'fcnr' */
    kCMIOFeatureControlPropertyAbsoluteRange = 0x66636172,           /* 'fcar' */
    kCMIOFeatureControlPropertyConvertNativeToAbsolute = 0x666E3261, /* 'fn2a' */
    kCMIOFeatureControlPropertyConvertAbsoluteToNative = 0x6661326E, /* 'fa2n' */
    kCMIOFeatureControlPropertyAbsoluteUnitName = 0x6663756E,        /* 'fcun' */
    kCMIOFeatureControlPropertyNativeData = 0x66636E64,              /* 'fcnd' */
    kCMIOFeatureControlPropertyNativeDataRange = 0x66636472,         /* 'fcdr' */
};

enum {
    kCMIOExposureControlPropertyRegionOfInterest = 0x65726F69, /* 'eroi' */
    kCMIOExposureControlPropertyLockThreshold = 0x656C636B,    /* 'elck' */
    kCMIOExposureControlPropertyUnlockThreshold = 0x65756C6B,  /* 'eulk' */
    kCMIOExposureControlPropertyTarget = 0x65746774,           /* 'etgt' */
    kCMIOExposureControlPropertyConvergenceSpeed = 0x65637370, /* 'ecsp' */
    kCMIOExposureControlPropertyStability = 0x65737479,        /* 'esty' */
    kCMIOExposureControlPropertyStable = 0x65737462,           /* 'estb' */
    kCMIOExposureControlPropertyIntegrationTime = 0x65696E74,  /* 'eint' */
    kCMIOExposureControlPropertyMaximumGain = 0x656D6178,      /* 'emax' */
};

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif
