// Table libraries in an AAR of their own: whoever makes keys hands it to whoever makes the application, and a new version
// of the keys is a new version of this module. It holds no code.
//
//     wbtables build MANIFEST -o android/tables/src/main/jniLibs --abi arm64-v8a,armeabi-v7a,x86_64,x86 --ndk NDK
//
// puts libwb_tables_WBID_VERSION.so into a folder for each ABI there. Several versions may lie side by side.
plugins {
    id("com.android.library")
}

android {
    namespace = "com.example.tables"
    compileSdk = 34
    defaultConfig {
        minSdk = 21
    }
    packaging {
        jniLibs {
            // They are stripped when they are made.
            keepDebugSymbols += "**/libwb_tables_*.so"
        }
    }
}
