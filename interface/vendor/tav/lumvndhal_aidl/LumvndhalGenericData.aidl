package vendor.tav.lumvndhal_aidl;

/**
 * The reply of ILumvndhal.get_vnd_data.
 */
@VintfStability
parcelable LumvndhalGenericData {
    /**
     * Length of the text in bytes as UTF-8; -1 when the build identifier is not available.
     */
    int data_size;
    /**
     * The text. Empty when there is nothing to tell.
     */
    String data;
}
