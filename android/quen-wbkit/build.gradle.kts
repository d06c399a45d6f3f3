// The library and its classes as an Android module, from the same sources as the CMake build.
plugins {
    id("com.android.library")
}

android {
    namespace = "com.vorlix.quen.wb"
    compileSdk = 34
    ndkVersion = "27.2.12479018"

    defaultConfig {
        minSdk = 21
        consumerProguardFiles("../../java/proguard.txt")
        ndk {
            abiFilters += listOf("arm64-v8a", "armeabi-v7a", "x86_64", "x86")
        }
        externalNativeBuild {
            cmake {
                targets("quen-wbkit")
                arguments(
                    // Compiles for headers such as <span>; nothing of it is linked.
                    "-DANDROID_STL=c++_static",
                    "-DWBKIT_BUILD_TOOL=OFF", "-DWBKIT_BUILD_JAVA=OFF", "-DWBKIT_BUILD_TESTS=OFF",
                    "-DWBKIT_PROTOBUF_C=" + (providers.gradleProperty("wbkit.protobufC").orNull
                        ?: error("-Pwbkit.protobufC: the folder of protobuf-c's sources, or fetch")),
                )
            }
        }
    }
    externalNativeBuild {
        cmake {
            path = file("../../CMakeLists.txt")
            version = "3.25.0+"
        }
    }
    sourceSets["main"].java.setSrcDirs(listOf("../../java/main"))
    compileOptions {
        sourceCompatibility = JavaVersion.VERSION_1_8
        targetCompatibility = JavaVersion.VERSION_1_8
    }
}

dependencies {
    // Tells compilers what may be null; applications need nothing of it.
    compileOnly("androidx.annotation:annotation:1.8.2")
}
